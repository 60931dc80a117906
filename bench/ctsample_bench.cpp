#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>
#include <json/value.h>

#include "bench/temporaryfolder.h"
#include "platform/worker/virtualscheduler.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/measurementsources/ade7854.h"
#include "src/components/measurementsources/ade7854attributes.h"
#include "src/components/measurementsources/ct.h"
#include "support/allocations.h"
#include "support/memoryconfig.h"

namespace {

constexpr std::int32_t kSamples = 24;
constexpr auto kRegister = "1000000";
/// mA, what the register stands for behind a C-CT-16.
constexpr ThreePhaseValue kCurrents{28752, 28752, 28752};

/// A chip whose attributes are files, where the kernel's own would be.
class CChipFolder {
 public:
  CChipFolder() {
    using namespace Hal::Ade7854;
    std::filesystem::create_directories(mRoot.Path() / kFolder);
    for (const SPhaseAttributes& phase : kPhases) {
      Put(phase.currentRms, kRegister);
      Put(phase.currentGain, "0");
      Put(phase.currentRmsOffset, "0");
    }
    Put(kPgaGain, "0");
    Put(kRun, "0");
  }
  const std::filesystem::path& Root() const { return mRoot.Path(); }

 private:
  void Put(std::string_view attribute, std::string_view content) const {
    std::ofstream(mRoot.Path() / Hal::Ade7854::kFolder / attribute) << content << '\n';
  }

  CTemporaryFolder mRoot;
};

Json::Value Parameters() {
  Json::Value parameters;
  parameters["type"] = "C-CT-16";
  return parameters;
}

/// Current transformers on files. In virtual time, so that no sample is taken but those that are measured.
struct STransformers {
  STransformers() { ct.Init(); }

  CVirtualScheduler scheduler;
  const CChipFolder folder;
  CCt ct{scheduler,
         std::make_unique<Hal::CAde7854>(folder.Root()),
         std::make_shared<CCurrentControlConfig>(std::make_shared<CMemoryConfig>(),
                                                 std::make_shared<CMemoryConfig>()),
         Parameters(),
         CCt::SPeriods{},
         {},
         {}};
};

/// Three attributes read and converted.
void BM_CtSample(benchmark::State& state) {
  STransformers transformers;
  ThreePhaseValue currents{};
  for (auto _ : state) {
    currents = transformers.ct.GetMeasurements(EMeasureType::Current);
    benchmark::DoNotOptimize(currents);
  }
  if (currents != kCurrents) state.SkipWithError("the currents are wrong");
}
BENCHMARK(BM_CtSample);

void BM_MeasurementAverage(benchmark::State& state) {
  STransformers transformers;
  transformers.scheduler.RunFor(kSamples * kSamplingPeriod);
  ThreePhaseValue average{};
  const std::uint64_t allocations = AllocationsOfThisThread();
  for (auto _ : state) {
    average = transformers.ct.GetMeasurementAverage(EMeasureType::Current, kSamples * kSamplingPeriod);
    benchmark::DoNotOptimize(average);
  }
  const std::uint64_t allocated = AllocationsOfThisThread() - allocations;
  state.counters["allocs"] = static_cast<double>(allocated) / static_cast<double>(state.iterations());
  if (allocated != 0) state.SkipWithError("GetMeasurementAverage took memory from the heap");
  if (average != kCurrents) state.SkipWithError("the average is wrong");
}
BENCHMARK(BM_MeasurementAverage);

}  // namespace
