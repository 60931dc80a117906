#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "platform/utility/posixfiles.h"
#include "simulation/virtualstation.h"

namespace {

using namespace std::chrono_literals;

TEST(Evening, CookingLeavesTheVehicleWhatTheFuseCanBear) {
  const CLogCapture log;
  CVirtualStation station{{.hwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3})",
                           .settings = R"({"CurrentCtrlFixedChargeCurrentLimit": 25, "BopSource": "ct",
                               "CurrentCtrlBopCtType": "C-CT-16", "CurrentCtrlBopEnable": true,
                               "CurrentCtrlBopFuseRating": 25})",
                           .secrets = ""}};
  CPosixFiles files;
  station.Start();
  station.Play(LoadScenario(files, SCENARIOS "/evening-cooking.json"));
  struct SMoment {
    std::chrono::seconds time;
    std::uint32_t draw;
    const char* why;
  };
  for (const Milliseconds begin : {0s, 150s}) {
    for (const SMoment& moment : {SMoment{7s, 16000, "its own maximum"},
                                  {22s, 8900, "the oven leaves so much"},
                                  {40s, 6000, "held at the least for 20 s"},
                                  {52s, 0, "hob and kettle leave nothing"},
                                  {67s, 11851, "the kettle is off: 95 % of the fuse less the house"},
                                  {97s, 16000, "regulated up again"},
                                  {103s, 6000, "no readings: the fallback current"},
                                  {112s, 16000, "the chip is configured anew"},
                                  {123s, 0, "all at once"},
                                  {138s, 16000, "and off again"}}) {
      station.RunFor(begin + moment.time - station.Elapsed());
      EXPECT_EQ(station.Peers().ChargePoint().View().draw[0], moment.draw) << moment.why;
    }
  }
  const CMainFuse fuse = station.House().View().fuse;
  EXPECT_FALSE(fuse.HasTripped());
  EXPECT_LT(fuse.HighestHeat(), 0.5);
}

}  // namespace
