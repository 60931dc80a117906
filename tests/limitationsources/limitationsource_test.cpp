#include "src/limitationsources/limitationsource.h"

#include <gtest/gtest.h>

namespace {

ipc::ECurrentControlSource Source(int value) {
  return static_cast<ipc::ECurrentControlSource>(value);
}

TEST(LimitationSource, NamesThresholdsAndDisplayNamesBelongTogether) {
  EXPECT_EQ(LimitationSources().size(), 20U);
  EXPECT_EQ(SourceToString(Source(2)), "ECurrentControlThermal");
  EXPECT_EQ(SourceToString(Source(21)), "ECurrentControlDynamicTariffCharging");
  EXPECT_EQ(FindDisplayName("ECurrentControlBop"), "Dynamic load balancing");
  EXPECT_EQ(FindDisplayName("ECurrentControlUserLimitCurrent"), "Current limiter");
  EXPECT_EQ(FindDisplayName("Unknown source"), std::nullopt);
  for (const int value : {0, 2, 4, 11, 18}) EXPECT_EQ(FindChangeThreshold(Source(value)), 0.25F) << value;
  for (const int value : {19, 20}) EXPECT_EQ(FindChangeThreshold(Source(value)), 0.1F) << value;
  for (const int value : {3, 5, 6, 7, 8, 9, 10, 12, 13, 14, 15, 16, 17, 21}) {
    EXPECT_EQ(FindChangeThreshold(Source(value)), 0.0F) << value;
  }
  for (const int value : {-2147483647 - 1, -1, 0, 1, 22, 2147483647}) {
    EXPECT_EQ(SourceToString(Source(value)), "Unknown source") << value;
    EXPECT_EQ(FindChangeThreshold(Source(value)).has_value(), value == 0) << value;
  }
}

TEST(LimitationSource, PeopleMayWriteNumbersEnumeratorsAndDisplayNames) {
  for (const auto* text : {"15", "ECurrentControlLocalRestApi", "local rest api"}) {
    EXPECT_EQ(ParseSource(text), Source(15)) << text;
  }
  for (const auto* text : {"", " 15", "15 A", "99999999999", "Local REST", "Unknown source"}) {
    EXPECT_EQ(ParseSource(text), std::nullopt) << text;
  }
}

}  // namespace
