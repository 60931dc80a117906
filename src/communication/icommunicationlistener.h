#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/worker/scheduler.h"

/// A medium that carries bytes between this station and its peers: a serial line, a network.
class ICommunicationListener {
 public:
  /// One peer as the medium sees it. Any thread, except for the receive buffer.
  class IEndpoint {
   public:
    virtual ~IEndpoint() = default;

    /// To that peer alone; false, and an error line, when it could not be sent.
    virtual bool SendData(std::span<const std::uint8_t> data) = 0;
    /// What has come from the peer and was not consumed yet. Only for the data-received handler, while it
    /// runs; what is left there is kept for its next call, up to a bound.
    virtual std::vector<std::uint8_t>& GetReceiveBuffer() = 0;
    /// For log lines.
    virtual std::string ToString() const = 0;

    /// The peer's sequence number, moved on first if `advance`; nothing where the medium has none.
    virtual std::optional<std::uint32_t> GetMetadata(bool advance) = 0;
    /// Whether a received number is the expected one.
    virtual bool ValidateMetadata(std::uint32_t received, bool advance) const = 0;
    /// A valid message has come from the peer, with that number or with none.
    virtual void AcceptMetadata(std::optional<std::uint32_t> received) = 0;

    /// Whether the peer is one of many on a network; false: the whole line.
    virtual bool IsNetworkEndpoint() const = 0;
  };

  /// Bytes have come; they stand in the endpoint's receive buffer. On the medium's own thread. Must not stop
  /// the listener.
  using DataReceivedHandler = std::function<void(const std::shared_ptr<IEndpoint>& endpoint)>;

  virtual ~ICommunicationListener() = default;

  /// Opens the medium and listens from now on. False, and an error line, when it cannot be had.
  virtual bool Start() = 0;
  /// Ends the listening and closes the medium. The handler is not running any more then.
  virtual void Stop() = 0;
  /// To every peer on the medium. False, and an error line, when it could not be sent. Any thread.
  virtual bool BroadcastData(std::span<const std::uint8_t> data) = 0;
  /// How long an answer may take; `extended` for requests that ask more of the peer.
  virtual Milliseconds GetResponseTime(bool extended) const = 0;
  /// Peers that one group may have.
  virtual std::uint32_t GetCapacity() const = 0;

  /// Before `Start`; an empty one is none.
  virtual void SetDataReceivedHandler(DataReceivedHandler handler) = 0;
};
