#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <system_error>

#include "platform/network/udpaddress.h"

/// A UDP socket over IPv6 that can join multicast groups.
///
/// It is set up on one thread, in the order of the declarations. Then its handlers run on a thread of its
/// own, the event loop, one after the other, and `Receive` and `Send` may come from any thread.
class IUdpSocket {
 public:
  /// The datagram's bytes, as many as there was room for, stand in the buffer; or there is an error, which is
  /// std::errc::operation_canceled when the socket was closed.
  using ReceiveHandler =
      std::function<void(const std::error_code& error, std::size_t received, const SUdpAddress& sender)>;
  using SentHandler = std::function<void(const std::error_code& error, std::size_t sent,
                                         std::span<const std::uint8_t> data, const SUdpAddress& to)>;

  virtual ~IUdpSocket() = default;

  virtual std::error_code Open() = 0;
  /// Only what comes through that adapter is received, and what is sent goes through it.
  virtual std::error_code BindToDevice(const std::string& adapter) = 0;
  /// Lets others on this machine have the same port.
  virtual std::error_code AllowAddressReuse() = 0;
  /// To every address of this machine.
  virtual std::error_code Bind(std::uint16_t port) = 0;
  virtual std::error_code GetLocalAddress(SUdpAddress& local) const = 0;
  /// Whether this machine hears what it sends to a group.
  virtual std::error_code SetMulticastLoopback(bool enable) = 0;
  virtual std::error_code SetMulticastInterface(std::uint32_t index) = 0;
  virtual std::error_code JoinGroup(const SUdpAddress& group, std::uint32_t index) = 0;
  /// Called for everything that was sent, or could not be.
  virtual void SetSentHandler(SentHandler handler) = 0;

  /// Waits for one datagram; the buffer must live until the handler is called, which it always is. It may
  /// call `Receive` again; one at a time.
  virtual void Receive(std::span<std::uint8_t> buffer, ReceiveHandler handler) = 0;
  /// Sends one datagram, of which it takes a copy. Does not wait. False: the socket is closed, or so many
  /// wait to be sent that this one is dropped; the sent handler is not called for it.
  virtual bool Send(std::span<const std::uint8_t> data, const SUdpAddress& to) = 0;

  /// Ends everything that was begun; no handler is running any more when it returns. Not from a handler.
  /// Closing twice is harmless; a closed one cannot be opened again.
  virtual void Close() = 0;
};

/// The machine's network. Any thread.
class INetwork {
 public:
  virtual ~INetwork() = default;

  /// 0: there is no adapter of that name (now).
  virtual std::uint32_t FindInterfaceIndex(const std::string& adapter) const = 0;
  /// The thread's name, where there is one. Must not outlive the network.
  virtual std::unique_ptr<IUdpSocket> CreateUdpSocket(const std::string& threadName) = 0;
};
