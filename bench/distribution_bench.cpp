#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/latencies.h"
#include "platform/log/logcapture.h"
#include "src/components/loadbalancing/leader/lbgroup.h"
#include "src/components/loadbalancing/leader/lbphaseimbalancealgorithm.h"
#include "src/components/loadbalancing/leader/lbreverseuniformalgorithm.h"
#include "support/allocations.h"

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kFollowers = 99;
constexpr std::uint32_t kSupplyMilliAmpere = 250000;
constexpr std::uint32_t kFallbackMilliAmpere = 1000;
constexpr std::uint32_t kImbalanceMilliAmpere = 20000;
constexpr Milliseconds kTell{2000};
constexpr Milliseconds kPeriod{10000};

/// A full group with too little for all, so that turns are taken; every fourth vehicle uses three phases, the
/// others one, and each uses something else at most.
class CFullGroup {
 public:
  CFullGroup() {
    for (std::uint32_t number = 1; number <= kFollowers; ++number) {
      CLbMember& member = mGroup.Add({static_cast<std::uint8_t>(number)});
      member.Join(mNow);
      member.SetFallback(kFallbackMilliAmpere, mNow);
      mMembers.push_back(&member);
    }
  }

  void Distribute() { mGroup.Distribute(CLbGroup::EChange::All, mNow); }
  /// Until the next distribution each station is told its share, and answers.
  void Go() {
    mGroup.SetSupply({.milliAmpere = {kSupplyMilliAmpere, kSupplyMilliAmpere, kSupplyMilliAmpere},
                      .forRises = {kSupplyMilliAmpere, kSupplyMilliAmpere, kSupplyMilliAmpere},
                      .size = kFollowers + 1});
    for (auto passed = Milliseconds{0}; passed < kPeriod; passed += kTell) {
      for (std::uint32_t i = 0; i < kFollowers; ++i) Tell(i);
      mNow += kTell;
    }
  }
  bool IsScarce() const {
    const auto isServed = [](const CLbMember* each) { return each->Share().Allowed() != 0; };
    const auto served = std::ranges::count_if(mMembers, isServed);
    return served > kFollowers / 4 && served < kFollowers;
  }

 private:
  void Tell(std::uint32_t i) {
    CLbMember& member = *mMembers[i];
    member.Tell(member.Share(), mNow);
    const std::uint32_t allowed = member.Share().Allowed();
    const std::uint32_t drawn = allowed < kLbLeastMilliAmpere ? 0 : std::min(allowed, 6000 + 100 * i);
    SLbLoad load;
    for (std::uint32_t phase = 0; phase < 3; ++phase) {
      if (i % 4 == 3 || i % 4 == phase) load.milliAmpere[phase] = drawn;
    }
    member.TakeLoad(load, mNow);
  }

  TimePoint mNow{1h};
  CLbGroup mGroup{std::make_shared<CLbReverseUniformAlgorithm>(
      std::make_shared<CLbPhaseImbalanceAlgorithm>(true, kImbalanceMilliAmpere), nullptr)};
  std::vector<CLbMember*> mMembers;
};

/// One redistribution of the whole group, order of precedence included, over hours of it.
void BM_Distribution(benchmark::State& state) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  CFullGroup group;
  CLatencies latencies;
  for (int warmUp = 0; warmUp < 100; ++warmUp) {
    group.Distribute();
    group.Go();
  }
  bool wasScarce = true;
  std::uint64_t allocated = 0;
  for (auto _ : state) {
    const std::uint64_t before = AllocationsOfThisThread();
    const auto begin = CLatencies::Clock::now();
    group.Distribute();
    const auto end = CLatencies::Clock::now();
    allocated += AllocationsOfThisThread() - before;
    state.SetIterationTime(std::chrono::duration<double>(end - begin).count());
    latencies.Add(begin, end);
    wasScarce = wasScarce && group.IsScarce();
    group.Go();
  }
  if (!wasScarce) state.SkipWithError("there is enough for all, or for nobody");
  latencies.Report(state);
  state.counters["allocs"] = static_cast<double>(allocated) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_Distribution)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
