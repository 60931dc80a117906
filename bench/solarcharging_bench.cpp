#include <memory>

#include <benchmark/benchmark.h>

#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/logcapture.h"
#include "platform/rpc/client.h"
#include "platform/rpc/unreachablechannel.h"
#include "platform/worker/virtualscheduler.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/solarcharging.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "support/memoryconfig.h"
#include "support/scriptedsource.h"

namespace {

/// W; a cloud comes and goes, on three phases either way.
constexpr std::int32_t kSunny = -9000;
constexpr std::int32_t kCloudy = -7000;

/// Solar charging with everything that a run reads and tells. In virtual time, so that nothing runs but that.
class CSolarStation {
 public:
  CSolarStation() {
    mSolar->Init();
    mSolar->Enable();
  }

  /// One run, whose power differs from that of the run before.
  void Run() {
    mSource->mWatt[0] = mSource->mWatt[0] == kSunny ? kCloudy : kSunny;
    mScheduler.RunFor(CSolarCharging::kPeriod);
  }
  int Limits() const { return mLimits; }

 private:
  std::shared_ptr<CDiagnosticsSignal> Signal(const CSignalDefinition& definition) const {
    return std::make_shared<CDiagnosticsSignal>(definition, mDiagnostics);
  }

  int mLimits = 0;
  CVirtualScheduler mScheduler;
  std::shared_ptr<CScriptedSource> mSource = std::make_shared<CScriptedSource>();
  std::shared_ptr<CMemoryConfig> mSettings =
      std::make_shared<CMemoryConfig>(std::map<std::string, Json::Value, std::less<>>{
          {"SolarChargingEnable", true}, {"SolarChargingMode", "AdvancedSolar"}});
  std::shared_ptr<CMemoryConfig> mHwinfo = std::make_shared<CMemoryConfig>(
      std::map<std::string, Json::Value, std::less<>>{{"HwOneOrThreePhase", 3}});
  std::shared_ptr<CDiagnosticsCommClient> mDiagnostics = std::make_shared<CDiagnosticsCommClient>(
      mScheduler,
      std::make_shared<Rpc::CClient>("Diagnostics", std::make_unique<Rpc::CUnreachableChannel>("not there")));
  std::shared_ptr<CSolarCharging> mSolar = std::make_shared<CSolarCharging>(
      mScheduler, mSource, std::make_shared<CCurrentControlConfig>(mSettings, mHwinfo),
      CSolarCharging::SSignals{Signal(DiagnosticsSignals::kSolarHouseholdPower),
                               Signal(DiagnosticsSignals::kSolarSourceUnusable),
                               Signal(DiagnosticsSignals::kSolarNotSupported)},
      CSolarCharging::SCallbacks{[] {
                                   return SStationMeterData{{9000, 9000, 9000}, {230000, 230000, 230000}};
                                 },
                                 [this](const SLimit&) { ++mLimits; }, [] {},
                                 [this] { return mLimits > 0; }});
};

/// One run while the vehicle charges, which tells a new limit and a new power every time.
void BM_SolarUpdate(benchmark::State& state) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  CSolarStation station;
  for (int run = 0; run < 5; ++run) station.Run();
  const int before = station.Limits();
  for (auto _ : state) station.Run();
  if (station.Limits() - before != state.iterations()) state.SkipWithError("not every run told a new limit");
}
BENCHMARK(BM_SolarUpdate);

}  // namespace
