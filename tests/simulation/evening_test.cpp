#include <tuple>

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
  for (const Milliseconds begin : {0s, 150s}) {
    for (const auto& [time, draw, why] : {std::tuple{7s, 16000U, "its own maximum"},
                                          {22s, 8900U, "the oven leaves so much"},
                                          {40s, 6000U, "held at the least for 20 s"},
                                          {52s, 0U, "hob and kettle leave nothing"},
                                          {67s, 11851U, "the kettle is off: 95 % of the fuse less the house"},
                                          {97s, 16000U, "regulated up again"},
                                          {103s, 6000U, "no readings: the fallback current"},
                                          {112s, 16000U, "the chip is configured anew"},
                                          {123s, 0U, "all at once"},
                                          {138s, 16000U, "and off again"}}) {
      station.RunFor(begin + time - station.Elapsed());
      EXPECT_EQ(station.Peers().ChargePoint().View().draw[0], draw) << why;
    }
  }
  const CMainFuse fuse = station.House().View().fuse;
  EXPECT_FALSE(fuse.HasTripped());
  EXPECT_LT(fuse.HighestHeat(), 0.5);
}

}  // namespace
