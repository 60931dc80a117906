#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "platform/crypto/randomgenerator.h"
#include "platform/network/network.h"
#include "platform/utility/mutex.h"
#include "platform/worker/worker.h"
#include "src/communication/icommunicationlistener.h"

/// The stations of a group on one network adapter: UDP over IPv6, to all of them by link-scope multicast, to
/// one of them alone. Datagrams come on the socket's own thread.
///
/// An adapter that goes away while listening is told once and waited for. `Start`, `Stop` and the setting of
/// the handler one at a time, the rest from any thread.
class CEthernetCommunication final : public ICommunicationListener {
 public:
  /// Where several instances on one machine hear each other.
  static constexpr std::string_view kLoopbackAdapter = "lo";
  /// A peer that has sent nothing valid for so long is forgotten.
  static constexpr Milliseconds kPeerLifetime{10000};

  class CEndpoint;

  struct SSurroundings {
    IScheduler& scheduler;
    INetwork& network;
    std::unique_ptr<IRandomGenerator> random;
  };

  CEthernetCommunication(SSurroundings surroundings, std::string adapter, std::uint16_t port,
                         std::uint16_t groupId);
  ~CEthernetCommunication() override;

  /// False also when it is started already. Repeated failures are told once.
  bool Start() override;
  /// May be followed by `Start`.
  void Stop() override;
  bool BroadcastData(std::span<const std::uint8_t> data) override;
  Milliseconds GetResponseTime(bool extended) const override;
  std::uint32_t GetCapacity() const override;
  void SetDataReceivedHandler(DataReceivedHandler handler) override;
};
