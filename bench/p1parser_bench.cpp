#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include <benchmark/benchmark.h>

#include "platform/utility/crc16.h"
#include "simulation/memoryfiles.h"
#include "simulation/p1telegramtext.h"
#include "src/components/measurementsources/p1parser.h"
#include "support/allocations.h"

namespace {

/// Three phases with a load each, as a meter of the newest kind sends it each second.
std::string TelegramText() {
  return P1TelegramText({.milliAmpere = {10000, 5000, 2000},
                         .milliVolt = {230000, 231000, 232000},
                         .watt = {2300, 1155, 464},
                         .importedWattHours = 1234567,
                         .time = Milliseconds{1000}});
}
constexpr ThreePhaseValue kCurrents{10000, 5000, 2000};

std::span<const std::uint8_t> Bytes(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

void CountBytes(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void BM_P1Crc(benchmark::State& state) {
  const std::string text = TelegramText();
  for (auto _ : state) benchmark::DoNotOptimize(Crc16(Bytes(text)));
  CountBytes(state, text);
}
BENCHMARK(BM_P1Crc);

/// From the bytes to the measurements; nobody is told the version.
void BM_P1Parse(benchmark::State& state) {
  CMemoryFiles files;
  CP1Parser parser(files, "/dump", nullptr);
  const std::string text = TelegramText();
  SP1Output output;
  const std::uint64_t allocations = AllocationsOfThisThread();
  for (auto _ : state) {
    output = parser.Parse(Bytes(text).data(), text.size());
    benchmark::DoNotOptimize(output);
  }
  const std::uint64_t allocated = AllocationsOfThisThread() - allocations;
  CountBytes(state, text);
  state.counters["allocs"] = static_cast<double>(allocated) / static_cast<double>(state.iterations());
  if (allocated != 0) state.SkipWithError("a good telegram took memory from the heap");
  if (output.current != kCurrents) state.SkipWithError("the currents are wrong");
}
BENCHMARK(BM_P1Parse);

}  // namespace
