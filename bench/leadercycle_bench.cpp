#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/answeringnetwork.h"
#include "bench/median.h"
#include "bench/processortime.h"
#include "platform/crypto/wolfrandom.h"
#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "src/communication/ethernetcommunication.h"
#include "src/components/loadbalancing/ilbphasehandler.h"
#include "src/components/loadbalancing/leader/lbleaderprotocol.h"
#include "src/components/loadbalancing/leader/lbphaseimbalancealgorithm.h"
#include "src/components/loadbalancing/leader/lbreverseuniformalgorithm.h"
#include "src/components/loadbalancing/loadbalancing.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "support/memoryconfig.h"

namespace {

using namespace std::chrono_literals;

constexpr std::uint16_t kGroup = 7;
constexpr auto kPassword = "a password for measuring";
/// All are found, led and settled, and it is known what their vehicles use.
constexpr Milliseconds kToSettle{10min};
constexpr std::uint32_t kCycles = 30;
constexpr Milliseconds kCycle{2s};

struct SPhases final : ILbPhaseHandler {
  void SetLimit(std::uint32_t /*milliAmpere*/, bool /*isPhaseDiscovery*/) override {}
  std::uint8_t GetReport() override { return 0; }
};

/// A leader with so many followers, that have 6 A each, and more where vehicles use one phase.
class CLedGroup {
 public:
  explicit CLedGroup(std::uint32_t followers)
      : mSize(followers), mFollowers(followers, kPassword, kGroup), mNetwork(mScheduler, mFollowers) {
    mSettings->Set("GroupLoadBalancingMaxCurrent", 6 * (followers + 1));
    mSettings->Set("GroupLoadBalancingGroupSize", followers + 1);
    mSettings->Set("GroupLoadBalancingFallbackCurrent", 0);
    mSettings->Set("MainboardSn", "12-34-ABC-DE0");
    auto parser = std::make_unique<CLbEncryptedPacketParser>(std::make_unique<CWolfRandom>());
    parser->Initialize(kPassword, kGroup);
    const auto algorithm = std::make_shared<CLbReverseUniformAlgorithm>(
        std::make_shared<CLbPhaseImbalanceAlgorithm>(true, 20000), nullptr);
    mLeader = std::make_unique<CLbLeaderProtocol>(
        CLbProtocolBase::SSurroundings{
            .scheduler = mScheduler,
            .phaseHandler = std::make_shared<SPhases>(),
            .config = std::make_shared<CLoadBalancingConfig>(mSettings, mSettings, mSettings),
            .communication = std::make_shared<CEthernetCommunication>(
                CEthernetCommunication::SSurroundings{mScheduler, mNetwork, std::make_unique<CWolfRandom>()},
                "eth0", CLoadBalancing::kPort, kGroup),
            .parser = std::move(parser),
            .setLimit = [](float) {},
            .meter = [] { return SStationMeterData{}; }},
        CLbLeaderProtocol::SParts{.algorithm = algorithm,
                                  .blackoutProtection = nullptr,
                                  .powerLimitInput = nullptr,
                                  .period = CLoadBalancing::kLeaderPeriod});
    mLeader->Start();
    mLeader->Enable();
    mScheduler.RunFor(kToSettle);
  }

  /// Microseconds of processor time that the leader and its network take for one station in one cycle;
  /// nothing: a request was missing.
  std::optional<double> Measure() {
    const std::uint64_t requests = mFollowers.Requests();
    const auto begin = ProcessorTimeOfThisThread() - mFollowers.Spent();
    mScheduler.RunFor(kCycles * kCycle);
    const std::chrono::duration<double, std::micro> took =
        ProcessorTimeOfThisThread() - mFollowers.Spent() - begin;
    if (mFollowers.Requests() - requests < std::uint64_t{mSize} * (kCycles - 1)) return std::nullopt;
    return took.count() / (mSize * kCycles);
  }

 private:
  const std::uint32_t mSize;
  CVirtualScheduler mScheduler;
  CAnsweringFollowers mFollowers;
  CAnsweringNetwork mNetwork;
  const std::shared_ptr<CMemoryConfig> mSettings = std::make_shared<CMemoryConfig>();
  std::unique_ptr<CLbLeaderProtocol> mLeader;
};

/// In turns, so that all see the machine alike.
void BM_LeaderCycle(benchmark::State& state) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  constexpr std::array kSizes{8U, 32U, 99U};
  std::vector<std::unique_ptr<CLedGroup>> groups;
  for (const std::uint32_t size : kSizes) groups.push_back(std::make_unique<CLedGroup>(size));
  std::array<std::vector<double>, kSizes.size()> took;
  for (auto _ : state) {
    for (std::size_t i = 0; i < groups.size(); ++i) {
      const auto each = groups[i]->Measure();
      if (!each) return state.SkipWithError("a station was not asked in each cycle");
      took[i].push_back(*each);
    }
  }
  for (std::size_t i = 0; i < groups.size(); ++i)
    state.counters["us_" + std::to_string(kSizes[i])] = Median(took[i]);
  state.counters["times"] = Median(took.back()) / Median(took.front());
}
BENCHMARK(BM_LeaderCycle)->Unit(benchmark::kMillisecond);

}  // namespace
