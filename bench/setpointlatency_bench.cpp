#include <atomic>
#include <fstream>
#include <memory>
#include <thread>

#include "ipc/basiccharge2.service.h"
#include "ipc/currentcontrol.service.h"

#include "bench/latencies.h"
#include "bench/temporaryfolder.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/grpcbackend.h"
#include "platform/utility/posixfiles.h"
#include "platform/worker/realscheduler.h"
#include "src/currentcontrol/currentcontrol.h"

namespace {

using Clock = CLatencies::Clock;

/// Charge control that notes when a setpoint arrives.
class CChargeControl final : public ipc::IBasicCharge2 {
 public:
  ipc::MResult SetChargeCurrent(const ipc::MChargeCurrent& current) override {
    mArrived = Clock::now().time_since_epoch();
    mMilliAmpere = current.milliampere();
    return {};
  }
  ipc::MResult StopCharging(const ipc::MEmpty&) override { return {}; }
  Rpc::CNotifier<ipc::MChargingState>& ChargingStateNotifications() override { return mNotifier; }

  std::atomic<Clock::duration> mArrived{};
  std::atomic<std::uint32_t> mMilliAmpere{0};

 private:
  Rpc::CNotifier<ipc::MChargingState> mNotifier;
};

void WriteConfiguration(const std::filesystem::path& root) {
  std::filesystem::create_directories(root / "etc");
  std::ofstream(root / "etc/hwinfo.json")
      << R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3, "HwHasSocket": false})";
  std::ofstream(root / "etc/settings.json") << R"({"CurrentCtrlFixedChargeCurrentLimit": 32})";
}

/// From a client's call of SetCurrentLimit to the new setpoint's arrival at charge control: the way of the
/// call to the service is counted too, so the figure is an upper bound.
void BM_SetpointLatency(benchmark::State& state) {
  const CTemporaryFolder root;
  WriteConfiguration(root.Path());
  CRealScheduler scheduler;
  CPosixFiles files;

  Rpc::AppCommunicationHost<Rpc::GrpcBackend> station(Rpc::GrpcBackend(), files, root.Path());
  const auto chargeControl = std::make_shared<CChargeControl>();
  station.RegisterService("ChargeControlBasicCharge", ipc::CreateService(chargeControl));
  station.Start();

  Rpc::AppCommunicationHost<Rpc::GrpcBackend> host(Rpc::GrpcBackend(), files, root.Path());
  CCurrentcontrol service(root.Path().string(), {.scheduler = scheduler, .files = files, .host = host});
  std::thread running([&] { service.Run(); });

  ipc::CCurrentControlClient client(station.CreateClient("CurrentControl"));
  ipc::MCurrentControlLimit limit;
  limit.set_source(ipc::ECurrentControlLocalRestApi);
  limit.set_number_of_phases(3);
  while (!client.GetCurrentLimit({}).IsOk()) std::this_thread::yield();

  CLatencies latencies;
  std::int32_t milliAmpere = 10000;
  for (auto _ : state) {
    milliAmpere = milliAmpere == 10000 ? 16000 : 10000;
    limit.set_limit(milliAmpere);
    const auto start = Clock::now();
    const auto answer = client.SetCurrentLimit(limit);
    latencies.Add(start, Clock::time_point(chargeControl->mArrived.load()));
    if (!answer.IsOk() || chargeControl->mMilliAmpere != static_cast<std::uint32_t>(milliAmpere)) {
      state.SkipWithError("the setpoint did not arrive");
      break;
    }
  }
  latencies.Report(state);
  service.RequestTermination();
  running.join();
}
BENCHMARK(BM_SetpointLatency)->Iterations(20000)->UseRealTime();

}  // namespace
