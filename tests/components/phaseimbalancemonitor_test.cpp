#include "src/components/phaseimbalancemonitor.h"

#include "protectionstation.h"

namespace {

struct SStation : SProtectionStation {
  explicit SStation(bool hasMeter = true) : SProtectionStation(hasMeter) { monitor.Enable(); }

  CPhaseImbalanceMonitor monitor{
      time,
      config,
      CPhaseImbalanceMonitor::kPeriod,
      diagnostics.Signal(DiagnosticsSignals::kPhaseImbalance),
      {[this] { return meter; }, [this] { told.emplace_back("stop"); },
       [this](const SLimit& limit) { told.push_back(fmt::format("{}", limit.milliAmpere)); },
       [this] { told.emplace_back("removed"); }}};
};

TEST(PhaseImbalanceMonitor, LimitsToTheLeastLoadedPhase) {
  using Values = SProtectionStation::Values;
  constexpr auto kMains = SProtectionStation::kMains;
  constexpr std::int32_t kMost = 2147483647, kLeast = -kMost - 1;
  for (const auto& [setting, milliAmpere, milliVolt, told] :
       std::vector<std::tuple<std::uint32_t, Values, Values, const char*>>{
           {20, {0, 0, 0}, {230999, 100000, 50000}, "19782"},
           {20, {0, 0, 10000}, {230000, 230000, 200000}, "22750"},
           {20, {16000, 16000, 16000}, kMains, "35782"},
           {16, {0, 0, 0}, kMains, "15782"},
           {0, {0, 0, 0}, kMains, ""},
           {4294967295, {0, 0, 0}, kMains, "2147483647"},
           {20, {kMost, kMost, kMost}, {kMost, kMost, kMost}, "2147483647"},
           {20, {kLeast, kLeast, kLeast}, kMains, ""},
           {20, {0, 0, 0}, {kLeast, kLeast, kLeast}, ""},
           {20, {9000, 0, 0}, {0, 0, 0}, ""}}) {
    SStation station;
    station.settings->Set("VDEPhaseImbalanceLimit", setting);
    station.Draw(milliAmpere, 4, milliVolt);
    EXPECT_EQ(station.TakeTold(), "");
    station.Draw(milliAmpere, 1, milliVolt);
    EXPECT_EQ(station.TakeTold(), told);
    EXPECT_EQ(station.log.Count("No phases active, nothing to balance"), milliVolt.front() < 1 ? 1 : 0);
  }
  SStation station;
  for (const std::int32_t current : {0, 200, 201}) station.Draw({current, current, current}, 5);
  EXPECT_EQ(station.TakeTold(), "19782; 19983") << "200 mA more or less change nothing";
}

TEST(PhaseImbalanceMonitor, StopsWhatIsUnbalancedUntilItIsUnplugged) {
  SStation station;
  EXPECT_EQ(station.ToldAtDraw({20000, 0, 0}, 600), "19782") << "as much as is allowed";
  station.monitor.SetChargingState(ipc::EChargingStateNoVehicle);
  station.Draw({0, 10000, 0}, 600);
  EXPECT_EQ(station.ToldAtDraw({0, 25000, 0}, 44), "") << "in the mean of a minute it was 20 A";
  station.monitor.SetChargingState(ipc::EChargingStateNoVehicle);
  EXPECT_EQ(station.ToldAtDraw({0, 20001, 0}, 9), "") << "what the one before drew is forgotten";
  EXPECT_EQ(station.ToldAtDraw({0, 20001, 0}, 1), "stop; 0; 30500 true");
  for (const auto* line :
       {"Phase imbalance monitor: Limit of 4600VA exceeded for 1 minute. Stop charging and "
        "set diagnostics signal(s)",
        "PhaseBalanceLimit: low: 0 VA, high: 4600 VA, high-low: 4600 VA, maximum: 4600 VA"}) {
    EXPECT_GE(station.log.Count(line), 1) << line;
  }
  station.monitor.Disable();
  station.monitor.Enable();
  station.monitor.SetChargingState(ipc::EChargingStateConnected);
  EXPECT_EQ(station.ToldAtDraw({0, 0, 0}, 60), "");
  station.settings->Set("VDEPhaseImbalanceLimit", 0);
  station.monitor.SetChargingState(ipc::EChargingStateNoVehicle);
  EXPECT_EQ(station.TakeTold(), "removed; 30500 false");
  EXPECT_EQ(station.ToldAtDraw({0, 0, 0}, 5), "0")
      << "a limit that was removed is told though it is the same";
}

TEST(PhaseImbalanceMonitor, WithoutTheMeterNothingIsAllowed) {
  SStation none(false);
  EXPECT_EQ(none.ToldAtDraw({0, 0, 0}, 60), "");
  EXPECT_EQ(
      none.log.Count("Phase imbalance is enabled but HwHasMeter is false. Phase imbalance limits current "
                     "to 0mA"),
      1);
  SStation silent;
  silent.Draw({0, 0, 0}, 8);
  silent.Silence(60);
  EXPECT_EQ(silent.TakeTold(), "19782; 0");
  EXPECT_EQ(silent.ToldAtDraw({0, 0, 0}, 4), "") << "samples of before do not count";
  EXPECT_EQ(silent.ToldAtDraw({25000, 0, 0}, 20), "19782") << "after a new limit it is not verified at once";
  EXPECT_EQ(silent.ToldAtDraw({25000, 0, 0}, 1), "stop; 0; 30500 true");
  silent.monitor.SetChargingState(ipc::EChargingStateNoVehicle);
  EXPECT_EQ(silent.TakeTold(), "removed; 30500 false");
  EXPECT_EQ(silent.log.Texts(Log::ELogLevel::Warning).size(), 1U);
  silent.monitor.Disable();
  silent.Silence(60);
  EXPECT_EQ(silent.TakeTold(), "");
}

}  // namespace
