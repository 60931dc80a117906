#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "src/components/currentcontrolconfig.h"
#include "src/components/measurementsources/cttypes.h"
#include "support/memoryconfig.h"

namespace {

std::string Page() {
  std::ifstream file(BLACKOUT_PROTECTION_PAGE);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(BlackoutProtectionPage, ListsTheTransformers) {
  std::istringstream page(Page());
  int listed = 0;
  for (std::string row; std::getline(page, row);) {
    const std::string name = row.starts_with("| ") ? row.substr(2, row.find(" |") - 2) : "";
    const SCtType* type = FindCtType(name);
    if (type == nullptr) continue;
    EXPECT_THAT(row, testing::StartsWith(fmt::format("| {} | {} | {} | {} |", name, type->turnsRatio,
                                                     type->nominalCurrent, type->pgaGain)));
    ++listed;
  }
  EXPECT_EQ(listed, 10);
}

TEST(BlackoutProtectionPage, TellsTheDefaults) {
  const CCurrentControlConfig config(std::make_shared<CMemoryConfig>(), std::make_shared<CMemoryConfig>());
  const std::string page = Page();
  for (const auto& row :
       {fmt::format("`CurrentCtrlBopEnable` * | | {} |", config.GetBopEnable()),
        fmt::format("`CurrentCtrlBopFuseRating` * | A | {} |", config.GetFuseLimit()),
        fmt::format("`BopSource` * | | {} |", config.GetBopSource()),
        fmt::format("`CurrentCtrlBopCtType` * | | {} |", config.GetBopCtType()),
        fmt::format("`BopFallbackCurrent` | mA | {} |", config.GetBopFallbackCurrent()),
        fmt::format("`BopCtDetectionEnable` | | {} |", config.IsBopCtDetectionEnabled()),
        fmt::format("`BopCtDetectionTreshold` | mA | {} |", config.GetBopCtDetectionTreshold()),
        fmt::format("`BopCtDetectionReportInterval` | s | {} |", config.GetBopCtDetectionReportInterval()),
        fmt::format("`HwHasMeter` | | {} |", config.HasMeter())}) {
    EXPECT_THAT(page, testing::HasSubstr("\n| " + row));
  }
}

}  // namespace
