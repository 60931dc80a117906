#include <algorithm>

#include <benchmark/benchmark.h>
#include <malloc.h>

#include "platform/log/logcapture.h"
#include "simulation/stationday.h"

namespace {

using namespace std::chrono_literals;

/// A cloudy day at a station with every component enabled: overcurrent protection, imbalance, a cable, and
/// blackout protection and solar charging on one meter. A vehicle that obeys charges nearly all the time.
SDayPlan CloudyDay() {
  SDayPlan plan = SDayPlan::Make(1);
  plan.stationPhases = 3;
  plan.hasSocket = true;
  plan.isFuseProtected = true;
  plan.hasTransformers = false;
  plan.meter = "modbustcp";
  plan.isImbalanceLimited = true;
  plan.roof = {.weather = CSolarRoof::EWeather::BrokenClouds, .peakWatt = 8000, .phases = 3, .seed = 1};
  plan.settings = SDaySettings{};
  plan.changes.clear();
  plan.troubles.clear();
  plan.visits.clear();
  for (const Milliseconds from : {1h, 7h, 13h, 19h}) {
    SDayPlan::SVisit visit;
    visit.from = from;
    visit.until = from + 5h;
    plan.visits.push_back(visit);
  }
  return plan;
}

/// What is on the heap, in kB, whoever has taken it.
double HeapKiloBytes() {
  const auto heap = mallinfo2();
  return static_cast<double>(heap.uordblks + heap.hblkhd) / 1000;
}

/// From start to end, with every rule checked. `growth_kb`: of the heap from the fourth hour to the last.
void BM_VirtualDay(benchmark::State& state) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  const SDayPlan plan = CloudyDay();
  double growth = 0;
  for (auto _ : state) {
    double after4h = 0;
    double last = 0;
    const auto weigh = [&](const SStationMoment& moment) {
      if (moment.at == 4h) after4h = HeapKiloBytes();
      if (moment.at >= 4h) last = HeapKiloBytes();
    };
    const auto outcome = CStationDay(plan, weigh, 1h).Play();
    growth = std::max(growth, last - after4h);
    if (!outcome.violations.empty() || outcome.totals.solarWattHours < 5000)
      state.SkipWithError("no such day");
  }
  state.counters["growth_kb"] = growth;
}
BENCHMARK(BM_VirtualDay)->Unit(benchmark::kMillisecond);

}  // namespace
