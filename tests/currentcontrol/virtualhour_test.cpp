#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "simulation/virtualstation.h"

namespace {

constexpr auto kHwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3, "HwHasMeter": true})";
constexpr auto kSettings = R"({"CurrentCtrlFixedChargeCurrentLimit": 25})";

constexpr auto kHour = R"({"events": [
  {"at": "00:00:00", "vehicle": {"connected": true, "max-milliampere": 20000, "phases": 3, "reaction-ms": 2000,
                                 "ramp-milliampere-per-second": 4000}},
  {"at": "00:05:00", "set-limit": {"source": "OCPP smart charging", "milliampere": 16000, "phases": 3}},
  {"at": "00:07:00", "supervisor": "disable"},
  {"at": "00:08:00", "supervisor": "enable"},
  {"at": "00:10:00", "set-limit": {"source": "Local REST API", "milliampere": 16000, "phases": 3}},
  {"at": "00:15:00", "set-limit": {"source": "Local Modbus API", "milliampere": 20000, "phases": 1}},
  {"at": "00:20:00", "set-limit": {"source": "OCPP smart charging", "milliampere": 5000, "phases": 3}},
  {"at": "00:25:00", "clear-limit": {"source": "Local Modbus API"}},
  {"at": "00:30:00", "charge-control": "refuse"},
  {"at": "00:30:00", "set-limit": {"source": "OCPP smart charging", "milliampere": 10000, "phases": 3}},
  {"at": "00:35:00", "charge-control": "accept"},
  {"at": "00:40:00", "set-limit": {"source": "OCPP smart charging", "milliampere": 12000, "phases": 3}},
  {"at": "00:45:00", "vehicle": {"connected": false}},
  {"at": "00:50:00", "clear-limit": {"source": "OCPP smart charging"}},
  {"at": "00:55:00", "clear-limit": {"source": "Local REST API"}}
]})";

/// Plays the hour and tells, line by line, what arrived at charge control and, every ten minutes, what the
/// vehicle drew.
class CVirtualHour {
 public:
  CVirtualHour() {
    mStation.Peers().BasicCharge().OnArrival([this](const CSimulatedBasicCharge::SArrival& arrival) {
      mTrace.push_back(fmt::format("{} setpoint {} mA, {} phases{}", At(), arrival.milliAmpere,
                                   arrival.phases, arrival.taken ? "" : ", refused"));
    });
    mStation.Start();
    mStation.Play(ReadScenario("hour", kHour));
    for (int part = 0; part < 6; ++part) {
      mStation.RunFor(std::chrono::minutes(10) - std::chrono::seconds(1));
      const auto draw = mStation.Peers().ChargePoint().View().draw;
      mTrace.push_back(fmt::format("{} drawn {} {} {} mA", At(), draw[0], draw[1], draw[2]));
      mStation.RunFor(std::chrono::seconds(1));
    }
    mStation.Terminate();
  }

  const std::vector<std::string>& Trace() const { return mTrace; }

 private:
  std::string At() const {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(mStation.Elapsed()).count();
    return fmt::format("{:02}:{:02}", seconds / 60, seconds % 60);
  }

  CVirtualStation mStation{{.hwinfo = kHwinfo, .settings = kSettings, .secrets = ""}};
  std::vector<std::string> mTrace;
};

TEST(CVirtualHourTest, EverySetpointOfAnHourIsAsTheLimitsSay) {
  const CLogCapture log(Log::ELogLevel::Warning);
  const std::vector<std::string> expected{
      "00:00 setpoint 0 mA, 3 phases",               // no cable is known yet;
      "00:00 setpoint 25000 mA, 3 phases",           // it carries more than the installation
      "05:00 setpoint 16000 mA, 3 phases",           //
      "09:59 drawn 16000 16000 16000 mA",            // disabled in between: limits hold
      "15:00 setpoint 16000 mA, 1 phases",           // a second 16 A changed nothing; one phase does
      "19:59 drawn 16000 0 0 mA",                    //
      "20:00 setpoint 5000 mA, 1 phases",            //
      "25:00 setpoint 5000 mA, 3 phases",            //
      "29:59 drawn 0 0 0 mA",                        // nothing below 6 A
      "30:00 setpoint 10000 mA, 3 phases, refused",  // and not sent again
      "39:59 drawn 0 0 0 mA",                        //
      "40:00 setpoint 12000 mA, 3 phases",           //
      "49:59 drawn 0 0 0 mA",                        // unplugged
      "50:00 setpoint 16000 mA, 3 phases",           // what is left
      "55:00 setpoint 25000 mA, 3 phases",           //
      "59:59 drawn 0 0 0 mA",                        //
      "60:00 setpoint 0 mA, 3 phases",               // left safe at the end
  };
  EXPECT_EQ(CVirtualHour().Trace(), expected);
  EXPECT_EQ(log.Texts(Log::ELogLevel::Error),
            std::vector<std::string>{"Failed to set charge current to 3 phase 10 A in current control"});
}

TEST(CVirtualHourTest, TwoRunsAreTheSame) {
  std::vector<std::string> runs[2];  // every log line, and the trace
  for (auto& run : runs) {
    const CLogCapture log;
    run = CVirtualHour().Trace();
    for (const auto& line : log.Lines()) run.push_back(line.position + line.text);
  }
  EXPECT_EQ(runs[0], runs[1]);
}

}  // namespace
