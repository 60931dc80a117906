#include <fstream>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/temporaryfolder.h"
#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/rpc/client.h"
#include "platform/utility/posixfiles.h"
#include "platform/worker/realscheduler.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/currentlimiter.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "src/limitationsources/limitationsource.h"
#include "src/rpc/clients/chargecontrolservice.h"
#include "support/allocations.h"

namespace {

/// Counts the setpoints that it takes.
class CChargeControl final : public IChargeControlService {
 public:
  ipc::MResult SetChargeCurrent(std::uint32_t, std::uint8_t) override {
    ++mSetpoints;
    return {};
  }
  ipc::MResult EnsureTaken() override { return {}; }
  void StopCharging() override {}

  int mSetpoints = 0;
};

class CAbsentPeer final : public Rpc::IChannel {
 public:
  SAnswer Call(std::string_view, std::string_view, Milliseconds) override {
    return {Rpc::EStatus::Unreachable, "nobody there", ""};
  }
  std::unique_ptr<ISubscription> Subscribe(std::string_view, std::string, SSubscriber) override { return {}; }
};

/// A limiter on the real stores, with a limit of every source.
class CStation {
 public:
  CStation() {
    float current = kDecidingCurrent;
    for (const auto& source : LimitationSources()) {
      mLimiter.SetLimit(source.value, 3, current);
      current = kOtherCurrent;
    }
  }

  static constexpr float kDecidingCurrent = 6.0F;
  static constexpr float kOtherCurrent = 16.0F;

 private:
  std::shared_ptr<CDiagnosticsSignal> Signal(const CSignalDefinition& definition) const {
    return std::make_shared<CDiagnosticsSignal>(definition, mDiagnostics);
  }
  static std::filesystem::path WriteHwinfo(const std::filesystem::path& folder) {
    std::ofstream(folder / "hwinfo.json") << R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3})";
    return folder / "hwinfo.json";
  }

  CTemporaryFolder mFolder;
  CRealScheduler mScheduler;
  CPosixFiles mFiles;
  std::shared_ptr<CCurrentControlConfig> mConfig = std::make_shared<CCurrentControlConfig>(
      KoConfig::Create(mScheduler, mFiles, mFolder.Path() / "settings.json"),
      KoConfig::CreateReadOnly(mScheduler, mFiles, WriteHwinfo(mFolder.Path())));
  std::shared_ptr<CDiagnosticsCommClient> mDiagnostics = std::make_shared<CDiagnosticsCommClient>(
      mScheduler, std::make_shared<Rpc::CClient>("Diagnostics", std::make_unique<CAbsentPeer>()));

 public:
  std::shared_ptr<CChargeControl> mChargeControl = std::make_shared<CChargeControl>();
  CCurrentLimiter mLimiter{
      mScheduler,
      mConfig,
      mChargeControl,
      {Signal(DiagnosticsSignals::kLimitingCurrentSource), Signal(DiagnosticsSignals::kLimitingPhasesSource),
       Signal(DiagnosticsSignals::kSourceChanged)}};
};

/// Twenty sources, of which those that do not decide change their limits in turn.
void BM_SetLimitUnchanged(benchmark::State& state) {
  CStation station;
  const auto sources = LimitationSources();
  const int setpoints = station.mChargeControl->mSetpoints;
  std::size_t place = 1;
  float current = CStation::kOtherCurrent;
  const std::uint64_t allocations = AllocationsOfThisThread();
  for (auto _ : state) {
    benchmark::DoNotOptimize(station.mLimiter.SetLimit(sources[place].value, 3, current));
    if (++place == sources.size()) {
      place = 1;
      current = current == CStation::kOtherCurrent ? CStation::kOtherCurrent + 1.0F : CStation::kOtherCurrent;
    }
  }
  const std::uint64_t allocated = AllocationsOfThisThread() - allocations;
  state.counters["allocs"] = static_cast<double>(allocated) / static_cast<double>(state.iterations());
  if (allocated != 0) state.SkipWithError("SetLimit took memory from the heap");
  if (station.mChargeControl->mSetpoints != setpoints) state.SkipWithError("the setpoint did not stay");
}
BENCHMARK(BM_SetLimitUnchanged);

}  // namespace
