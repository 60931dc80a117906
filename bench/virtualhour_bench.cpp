#include <benchmark/benchmark.h>

#include "simulation/virtualstation.h"

namespace {

constexpr auto kHour = R"({"events": [
  {"at": "00:01:00", "set-limit": {"source": "OCPP smart charging", "milliampere": 16000, "phases": 3}},
  {"at": "00:02:00", "set-limit": {"source": "Local REST API", "milliampere": 10000, "phases": 1}},
  {"at": "00:03:00", "clear-limit": {"source": "Local REST API"}},
  {"at": "00:04:00", "clear-limit": {"source": "OCPP smart charging"}}
], "repeat": "00:05:00"})";

/// An hour of a station's life: the application root that ships, its peers and a vehicle, from start to end.
void BM_VirtualHour(benchmark::State& state) {
  const auto scenario = ReadScenario("hour", kHour);
  for (auto _ : state) {
    CVirtualStation station({.hwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3})",
                             .settings = R"({"CurrentCtrlFixedChargeCurrentLimit": 25})",
                             .secrets = ""});
    station.Start();
    station.Play(scenario);
    station.RunFor(std::chrono::hours(1));
    station.Terminate();
  }
}
BENCHMARK(BM_VirtualHour)->Unit(benchmark::kMillisecond);

}  // namespace
