#include "simulation/blackoutevening.h"

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"

namespace {

using ::testing::IsEmpty;

TEST(BlackoutEvening, HoldsTheFuseAndGivesTheVehicleWhatThereIsWhateverHappens) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  for (const auto& [meter, count] : {std::pair{"ct", 100U},
                                     {"p1extender", 10U},
                                     {"homewizard", 10U},
                                     {"modbustcp", 10U},
                                     {"modbusrtu", 10U}})
    for (std::uint64_t seed = 1; seed <= count; ++seed) {
      SEveningPlan plan = SEveningPlan::Make(seed);
      plan.meter = meter;
      EXPECT_THAT(CBlackoutEvening(plan).Play().violations, IsEmpty())
          << "again: blackoutevenings --meter " << meter << " --seed " << seed << " --count 1";
    }
}

/// The same evenings must be found dangerous when nobody protects the fuse.
TEST(BlackoutEvening, NoticesAFuseThatIsNotProtected) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  int tripped = 0;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    SEveningPlan plan = SEveningPlan::Make(seed);
    plan.isProtected = false;
    const auto violations = CBlackoutEvening(plan).Play().violations;
    if (!violations.empty() && violations[0].find("the fuse tripped") != std::string::npos) ++tripped;
  }
  EXPECT_GE(tripped, 10);
}

}  // namespace
