#include "src/components/overcurrentprotection.h"

#include <fstream>
#include <iterator>

#include "protectionstation.h"

namespace {

using ELevel = Log::ELogLevel;
using Lines = std::vector<std::string>;

class CCable final : public ILimiter {
 public:
  void Disable() override {}
  void Enable() override {}
  SLimit GetLimit() override { return {ipc::ECurrentControlUserCable, mRating, 3}; }

  std::int32_t mRating = 20000;
};

struct SStation : SProtectionStation {
  explicit SStation(std::uint32_t limit = 16000, bool hasMeter = true) : SProtectionStation(hasMeter) {
    protection.UpdateLimit(limit);
    protection.Enable();
    TakeTold();
  }
  /// Seconds until it is stopped; 0 when it is not.
  int TimeToStop(std::int32_t milliAmpere) {
    for (int second = 1; second <= 1300; ++second) {
      Draw({0, milliAmpere, 0}, 1);
      if (protection.HasStopped()) return second;
    }
    return 0;
  }

  std::shared_ptr<CCable> cable = std::make_shared<CCable>();
  COvercurrentProtection protection{
      time,
      config,
      COvercurrentProtection::kThresholds,
      cable,
      {diagnostics.Signal(DiagnosticsSignals::kOvercurrentHardwareLimit),
       diagnostics.Signal(DiagnosticsSignals::kOvercurrentInstallationLimit),
       diagnostics.Signal(DiagnosticsSignals::kOvercurrentCableRating)},
      {[this] { return meter; }, [this] { told.emplace_back("stop"); },
       [this](const SLimit& limit) {
         told.push_back(fmt::format("{}{}", limit.milliAmpere, protection.HasStopped() ? " stopped" : ""));
       }}};
};

TEST(OvercurrentProtection, StopsTheSoonerTheMoreIsDrawn) {
  constexpr std::int32_t kLowest = -2147483647 - 1;
  const struct {
    std::uint32_t limit;  // mA
    std::int32_t drawn;   // mA
    std::size_t timers;   // that are started
    int timeToStop;       // s
  } kCases[] = {{16000, 17600, 0, 0},  {16000, 17700, 1, 1201}, {16000, 19300, 2, 31},
                {16000, -20100, 3, 6}, {16000, kLowest, 3, 6},  {4294967295, kLowest, 0, 0},
                {0, 1000, 0, 0},       {0, 1001, 3, 6},         {950, 1001, 0, 0}};
  for (const auto& [limit, drawn, timers, timeToStop] : kCases) {
    SStation station(limit);
    EXPECT_EQ(station.TimeToStop(drawn), timeToStop) << drawn << " mA at " << limit << " mA";
    EXPECT_EQ(station.log.Texts(ELevel::Warning).size(), timers) << drawn << " mA at " << limit << " mA";
  }
}

TEST(OvercurrentProtection, PeaksAndWhatEndsInTimeStopNobody) {
  SStation station;
  for (const auto& [milliAmpere, seconds] : {std::pair(10000, 4), {30000, 1}, {10000, 60}}) {
    station.Draw({milliAmpere, 0, 0}, seconds);
  }
  EXPECT_EQ(station.log.Texts(ELevel::Warning), Lines{}) << "the mean of five was 14 A";
  station.Draw({0, 0, 17700}, 1000);
  station.Draw({16000, 0, 0}, 1000);
  EXPECT_EQ(station.log.Texts(ELevel::Info),
            Lines{"Overcurrent protection no longer exceeds threshold '1.1', continuing normal behaviour"});
  EXPECT_EQ(station.TakeTold(), "");
}

TEST(OvercurrentProtection, IsStoppedUntilItIsUnplugged) {
  SStation station;
  ASSERT_EQ(station.TimeToStop(21000), 6);
  EXPECT_EQ(station.TakeTold(), "stop; 0 stopped; 30400 true; 30401 true");
  for (const auto* line : {"Overcurrent detected at threshold '1.25', starting 5s timer",
                           "Current limit (16000mA) exceeded for 5 seconds, stop charging and set "
                           "diagnostics signal(s)"}) {
    EXPECT_EQ(station.log.Count(line), 1) << line;
  }
  EXPECT_EQ(station.log.Texts(ELevel::Info), (Lines{"Stopping 1200s timer for overcurrent at threshold '1.1'",
                                                    "Stopping 30s timer for overcurrent at threshold '1.2'",
                                                    "Setting mHardwareLimitExceededSignal to 'true'.",
                                                    "Setting mInstallationLimitExceededSignal to 'true'."}));
  station.protection.UpdateLimit(10000);
  station.protection.OnCableChanged();
  station.protection.Disable();
  station.protection.Enable();
  station.protection.SetChargingState(ipc::EChargingStateConnected);
  EXPECT_EQ(station.ToldAtDraw({21000, 0, 0}, 60), "");
  station.protection.SetChargingState(ipc::EChargingStateNoVehicle);
  EXPECT_EQ(station.TakeTold(), "10000; 30400 false; 30401 false; 30402 false");
  EXPECT_EQ(station.ToldAtDraw({21000, 0, 0}, 9), "") << "the meter's last values stop nobody";
  station.protection.SetChargingState(ipc::EChargingStateConnected);
  EXPECT_EQ(station.TimeToStop(12600), 6) << "and the next vehicle is watched again";
}

TEST(OvercurrentProtection, CableLowersTheLimitButWakesNobody) {
  SStation station;
  station.protection.Disable();
  station.cable->mRating = 13000;
  station.protection.OnCableChanged();
  EXPECT_EQ(station.TimeToStop(20000), 0);
  station.protection.Enable();
  EXPECT_EQ(station.TimeToStop(20000), 6);
  EXPECT_EQ(station.TakeTold(), "13000; stop; 0 stopped; 30402 true");
}

TEST(OvercurrentProtection, WithoutTheMeterOnlyTimersGoOn) {
  SStation none(16000, false);
  EXPECT_EQ(none.TimeToStop(30000), 0);
  EXPECT_EQ(none.log.Count("Overcurrent protection is enabled but HwHasMeter is false."), 1);
  for (const bool isUnplugged : {false, true}) {
    SStation silent;
    silent.Draw({17700, 0, 0}, 10);
    silent.Silence(0);
    if (isUnplugged) silent.protection.SetChargingState(ipc::EChargingStateNoVehicle);
    for (const int seconds : {1190, 1}) {
      silent.Silence(seconds);
      EXPECT_EQ(silent.protection.HasStopped(), seconds == 1 && !isUnplugged);
    }
    EXPECT_EQ(silent.log.Texts(ELevel::Warning).size(), 2U) << "of the timer and of the silence";
  }
}

TEST(ProtectionsPage, TellsThresholdsAndSignals) {
  std::ifstream file(PROTECTIONS_PAGE);
  const std::string page(std::istreambuf_iterator<char>(file), {});
  for (const auto& [factor, duration] : COvercurrentProtection::kThresholds) {
    const auto stop = page.find(fmt::format("stopped after {} s\n  {:<4} --", duration.count(), factor));
    EXPECT_NE(stop, std::string::npos) << factor;
  }
}

}  // namespace
