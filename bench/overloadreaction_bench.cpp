#include <algorithm>
#include <chrono>
#include <cstddef>

#include <benchmark/benchmark.h>

#include "platform/log/logcapture.h"
#include "simulation/overloadreaction.h"

namespace {

constexpr Milliseconds kStep{10};

/// From an overload at the current transformers to a smaller setpoint at charge control, in virtual time: the
/// slowest of all moments for the overload, with blackout protection looking at once and as late as can be.
void BM_OverloadReaction(benchmark::State& state) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  Milliseconds worst{0};
  for (auto _ : state) {
    for (const Milliseconds look : {Milliseconds(0), COverloadReaction::kSlowest.look}) {
      for (Milliseconds step{0}; step <= kSamplingPeriod; step += kStep) {
        const auto reaction = COverloadReaction({.step = step, .look = look}).Play();
        if (!reaction) {
          state.SkipWithError("an overload was not reacted to");
          return;
        }
        worst = std::max(worst, *reaction);
      }
    }
  }
  state.counters["worst_ms"] = static_cast<double>(worst.count());
}
BENCHMARK(BM_OverloadReaction)->Iterations(1)->Unit(benchmark::kMillisecond);

/// Beside a vehicle that takes 16 A: room for all, a little less of it, too much, just enough, and so much
/// that the vehicle must wait.
constexpr auto kHousehold = R"({"events": [
  {"at": "00:00:00", "house": {"l1-milliampere": 4000, "l2-milliampere": 1000, "l3-milliampere": 2000}},
  {"at": "00:01:00", "house": {"l1-milliampere": 6000}},
  {"at": "00:02:00", "house": {"l1-milliampere": 12000, "l3-milliampere": 7000}},
  {"at": "00:03:00", "house": {"l1-milliampere": 8500}},
  {"at": "00:04:00", "house": {"l1-milliampere": 22000, "l3-milliampere": 2000}}
], "repeat": "00:05:00"})";

/// An hour of a station that protects a house in which something is switched on or off every minute, from
/// start to end.
void BM_ProtectedHour(benchmark::State& state) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  const auto household = ReadScenario("household", kHousehold);
  bool held = true;
  std::size_t setpoints = 0;
  for (auto _ : state) {
    CVirtualStation station({.hwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3})",
                             .settings = R"({"CurrentCtrlFixedChargeCurrentLimit": 25,
                                             "CurrentCtrlBopEnable": true, "CurrentCtrlBopFuseRating": 25,
                                             "CurrentCtrlBopCtType": "C-CT-16"})",
                             .secrets = ""});
    setpoints = 0;
    station.Peers().BasicCharge().OnArrival([&](const CSimulatedBasicCharge::SArrival&) { ++setpoints; });
    station.Start();
    station.Play(household);
    station.RunFor(std::chrono::hours(1));
    held = held && !station.House().View().fuse.HasTripped();
    station.Terminate();
  }
  constexpr std::size_t kChanges = 60;
  state.counters["setpoints"] = static_cast<double>(setpoints);
  if (setpoints < kChanges || !held) state.SkipWithError("the station did not protect the house");
}
BENCHMARK(BM_ProtectedHour)->Unit(benchmark::kMillisecond);

}  // namespace
