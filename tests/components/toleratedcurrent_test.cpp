#include "src/components/toleratedcurrent.h"

#include <chrono>
#include <string>
#include <tuple>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/worker/virtualscheduler.h"

namespace {

TEST(ToleratedCurrent, RaisedSetpointCountsAtOnceALoweredOneTenSecondsLater) {
  CVirtualScheduler time;
  std::string told;
  CToleratedCurrent tolerated(time, [&](std::uint32_t milliAmpere) {
    const auto second =
        std::chrono::duration_cast<std::chrono::seconds>(time.Now().time_since_epoch()).count();
    told += fmt::format(" {}:{}", second - 3600, milliAmpere);
  });
  for (const auto& [milliAmpere, wait] : {std::tuple{0U, 20},
                                          {10000U, 1},
                                          {16000U, 1},
                                          {16000U, 1},
                                          {12000U, 4},
                                          {6000U, 2},
                                          {8000U, 1},
                                          {0U, 60},
                                          {4294967295U, 9}}) {
    tolerated.SetSetpoint(milliAmpere);
    time.RunFor(std::chrono::seconds(wait));
  }
  EXPECT_EQ(
      told,
      " 0:4294967295 10:0 20:10000 21:16000 22:16000 23:16000 27:16000 29:16000 30:16000 33:12000 37:8000 "
      "40:0 90:4294967295");
}

}  // namespace
