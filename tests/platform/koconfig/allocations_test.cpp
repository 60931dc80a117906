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
  files.Write("/board/etc/settings.json", R"({"max": 16})");
  const auto store = KoConfig::CreateReadOnly(scheduler, files, "/board/etc/settings.json");
  const auto before = AllocationsOfThisThread();
  ASSERT_GT(before, 0U);
  EXPECT_EQ(store->GetUnsigned("max", 0), 16U);
  EXPECT_EQ(store->GetUnsigned("a key too long to fit in a short string", 1), 1U);
  EXPECT_EQ(AllocationsOfThisThread(), before);
}

}  // namespace
