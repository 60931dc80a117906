#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/worker/virtualscheduler.h"
#include "simulation/multicastmedium.h"
#include "simulation/seededrandom.h"
#include "src/communication/ethernetcommunication.h"
#include "src/components/loadbalancing/ilbphasehandler.h"
#include "src/components/loadbalancing/lbencryptedpacketparser.h"
#include "src/components/loadbalancing/lbfollowerprotocol.h"
#include "src/components/loadbalancing/loadbalancing.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "support/diagnosticsrecord.h"
#include "support/memoryconfig.h"

/// What members of group 7 are made of; seeds make them repeat exactly.
namespace GroupMember {

inline std::shared_ptr<CEthernetCommunication> Network(CVirtualScheduler& scheduler, CMulticastMedium& medium,
                                                       MediumStation station, std::uint64_t seed) {
  return std::make_shared<CEthernetCommunication>(
      CEthernetCommunication::SSurroundings{scheduler, *medium.Attach(station),
                                            std::make_unique<CSeededRandom>(seed)},
      "eth0", CLoadBalancing::kPort, 7);
}

inline std::unique_ptr<CLbEncryptedPacketParser> Parser(std::uint64_t seed,
                                                        std::string_view password = "let us share") {
  auto parser = std::make_unique<CLbEncryptedPacketParser>(std::make_unique<CSeededRandom>(seed));
  parser->Initialize(password, 7);
  return parser;
}

struct SPhases final : ILbPhaseHandler {
  void SetLimit(std::uint32_t milliAmpere, bool isPhaseDiscovery) override {
    told = fmt::format("{}{}", milliAmpere, isPhaseDiscovery ? " find" : "");
  }
  std::uint8_t GetReport() override { return kDiscoveryDone | kDrawsOnL1; }
  std::string told;
};

/// A follower that was started, and what it did.
class CFollower {
 public:
  CFollower(CVirtualScheduler& scheduler, std::shared_ptr<ICommunicationListener> communication,
            std::unique_ptr<ILbPacketParser> parser, const std::string& serialNumber = "12-34-ABC-DE1")
      : mRecord(scheduler) {
    mSettings->Set("GroupLoadBalancingFallbackCurrent", 6);
    mSettings->Set("MainboardSn", serialNumber);
    mProtocol.emplace(CLbProtocolBase::SSurroundings{
                          .scheduler = scheduler,
                          .phaseHandler = mPhases,
                          .config = std::make_shared<CLoadBalancingConfig>(mSettings, mSettings, mSettings),
                          .communication = std::move(communication),
                          .parser = std::move(parser),
                          .setLimit = [this](float ampere) { mLimits.push_back(ampere); },
                          .meter = [this] { return mMeter; }},
                      mRecord.Signal(DiagnosticsSignals::kLoadBalancingUndiscovered));
    mProtocol->Start();
  }

  CDiagnosticsRecord mRecord;
  const std::shared_ptr<CMemoryConfig> mSettings = std::make_shared<CMemoryConfig>();
  const std::shared_ptr<SPhases> mPhases = std::make_shared<SPhases>();
  std::optional<SStationMeterData> mMeter = SStationMeterData{};  ///< none: silent
  std::vector<float> mLimits;                                     ///< A, in order
  std::optional<CLbFollowerProtocol> mProtocol;
};

}  // namespace GroupMember
