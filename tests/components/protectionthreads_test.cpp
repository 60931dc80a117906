#include <algorithm>
#include <atomic>
#include <thread>

#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/worker/realscheduler.h"
#include "protectionstation.h"
#include "src/components/overcurrentprotection.h"
#include "src/components/phaseimbalancemonitor.h"
#include "src/components/toleratedcurrent.h"
#include "support/eventually.h"

namespace {

TEST(Protections, MayBeFedSwitchedAndUnpluggedAtOnce) {
  constexpr std::array<COvercurrentProtection::SThreshold, 1> kAtOnce{{{1.1F, std::chrono::seconds(0)}}};
  constexpr Milliseconds kPause{1};
  const SProtectionStation station(true);
  CRealScheduler scheduler;
  const auto client = std::make_shared<CDiagnosticsCommClient>(
      scheduler, std::make_shared<Rpc::CClient>("Diagnostics", nullptr));  // never started
  const auto signal = std::make_shared<CDiagnosticsSignal>(DiagnosticsSignals::kPhaseImbalance, client);
  const StationMeter meter = [] { return SStationMeterData{{30000, 0, 0}, SProtectionStation::kMains}; };
  const auto ignore = [](const SLimit&) {};
  std::atomic<int> draws{0}, unbalances{0}, removals{0};
  COvercurrentProtection overcurrent(scheduler, station.config, kAtOnce, nullptr, {signal, signal, signal},
                                     {meter, [&] { ++draws; }, ignore});
  CPhaseImbalanceMonitor imbalance(scheduler, station.config, kPause, signal,
                                   {meter, [&] { ++unbalances; }, ignore, [&] { ++removals; }});
  CToleratedCurrent tolerated(scheduler,
                              [&](auto limit) { overcurrent.UpdateLimit(std::min(limit, 16000U)); });
  const std::array<IChargeControl*, 2> protections{&overcurrent, &imbalance};
  std::atomic<bool> isOver{false};
  std::thread feeding([&] {
    for (std::uint32_t i = 0; !isOver; ++i, std::this_thread::sleep_for(kPause)) {
      tolerated.SetSetpoint(i % 2 * 16000);
    }
  });
  std::thread plugging([&] {
    for (int i = 0; !isOver; ++i, std::this_thread::sleep_for(kPause)) {
      const auto state = i % 50 == 0 ? ipc::EChargingStateNoVehicle : ipc::EChargingStateConnected;
      for (auto* protection : protections) protection->SetChargingState(state);
    }
  });
  for (int i = 0; i < 50; ++i, std::this_thread::sleep_for(kPause)) {
    for (auto* protection : protections) protection->Disable(), protection->Enable();
  }
  EXPECT_TRUE(Eventually([&] { return draws > 0 && unbalances > 1 && removals > 1; }));
  isOver = true;
  feeding.join(), plugging.join();
  overcurrent.SetChargingState(ipc::EChargingStateNoVehicle);
  EXPECT_TRUE(Eventually([&] { return !overcurrent.HasStopped(); }));
  EXPECT_EQ(overcurrent.GetLimit().milliAmpere, 16000);
}

}  // namespace
