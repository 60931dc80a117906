#include "support/allocations.h"

#include <gtest/gtest.h>

#include "platform/koconfig/koconfig.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"

namespace {

// Components read their settings whenever they decide.
TEST(KoConfigAllocationsTest, ReadingAValueTakesNoMemory) {
  CVirtualScheduler scheduler;
  CMemoryFiles files;
  files.Write("/board/etc/settings.json", R"({"max": 4294967295, "yes": true, "part": 16.5})");
  const auto store = KoConfig::CreateReadOnly(scheduler, files, "/board/etc/settings.json");
  const auto before = AllocationsOfThisThread();
  ASSERT_GT(before, 0U);
  EXPECT_EQ(store->GetUnsigned("max", 0), 4294967295U);
  EXPECT_EQ(store->GetUnsigned("a key too long to fit in a short string", 1), 1U);
  EXPECT_TRUE(store->GetBool("yes", false));
  EXPECT_EQ(store->GetFloat("part", 1.0F), 16.5F);
  EXPECT_EQ(AllocationsOfThisThread(), before);
}

}  // namespace
