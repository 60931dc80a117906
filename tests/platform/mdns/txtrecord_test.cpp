#include "platform/mdns/txtrecord.h"

#include <gmock/gmock.h>

namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

TEST(TxtRecordTest, TakesNoMoreThanAnybodyNeeds) {
  TxtRecord::Properties properties;
  for (const auto* text : {"Serial=A=1", "serial=b2", "flag", "empty=", "", "=value"})
    TxtRecord::Add(text, properties);
  TxtRecord::Add(std::string(65, 'k') + "=1", properties);
  EXPECT_THAT(properties, ElementsAre(Pair("empty", ""), Pair("flag", ""), Pair("serial", "A=1")));
  for (int i = 0; i < 100; ++i) TxtRecord::Add(std::to_string(i), properties);
  EXPECT_EQ(properties.size(), 32U);
}

}  // namespace
