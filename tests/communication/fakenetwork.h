#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "platform/network/network.h"

/// A network of one adapter that does what the test says and notes what was asked of it. One thread; handlers
/// run when the test says so.
struct SFakeNetwork final : INetwork {
  std::uint32_t index = 3;
  std::map<std::string, std::errc> failures;  ///< by the operation that fails
  bool takesSends = true;

  std::vector<std::string> setUp;  ///< every operation that succeeded
  int opened = 0;
  std::string sent;  ///< the newest
  std::span<std::uint8_t> buffer;
  IUdpSocket::ReceiveHandler receive;  ///< none: nobody waits for a datagram
  IUdpSocket::SentHandler onSent;

  std::uint32_t FindInterfaceIndex(const std::string&) const override { return index; }
  std::unique_ptr<IUdpSocket> CreateUdpSocket(const std::string&) override {
    return std::make_unique<SSocket>(*this);
  }
  void End(const std::error_code& error, std::size_t received = 0, const SUdpAddress& sender = {}) {
    std::exchange(receive, nullptr)(error, received, sender);
  }
  void Deliver(std::span<const std::uint8_t> data, const SUdpAddress& sender) {
    const auto part = data.first(std::min(data.size(), buffer.size()));
    std::ranges::copy(part, buffer.begin());
    End({}, part.size(), sender);
  }

 private:
  struct SSocket final : IUdpSocket {
    explicit SSocket(SFakeNetwork& network) : mNetwork(network) {}
    ~SSocket() override { SSocket::Close(); }
    std::error_code Open() override { return Note("open", ""); }
    std::error_code BindToDevice(const std::string& adapter) override { return Note("device ", adapter); }
    std::error_code AllowAddressReuse() override { return Note("reuse", ""); }
    std::error_code Bind(std::uint16_t port) override { return Note("bind ", std::to_string(port)); }
    std::error_code GetLocalAddress(SUdpAddress& local) const override {
      local.port = 23068;
      return Note("local", "");
    }
    std::error_code SetMulticastLoopback(bool on) override { return Note("loopback ", on ? "on" : "off"); }
    std::error_code SetMulticastInterface(std::uint32_t to) override {
      return Note("interface ", std::to_string(to));
    }
    std::error_code JoinGroup(const SUdpAddress& group, std::uint32_t on) override {
      return Note("join ", ToText(group) + " on " + std::to_string(on));
    }
    void SetSentHandler(SentHandler handler) override { mNetwork.onSent = std::move(handler); }
    void Receive(std::span<std::uint8_t> room, ReceiveHandler handler) override {
      mNetwork.buffer = room;
      mNetwork.receive = std::move(handler);
    }
    bool Send(std::span<const std::uint8_t> data, const SUdpAddress& to) override {
      mNetwork.sent = fmt::format("{} to {}:{}", data.size(), ToText(to), to.port);
      return mNetwork.takesSends;
    }
    void Close() override {
      if (mNetwork.receive) mNetwork.End(std::make_error_code(std::errc::operation_canceled));
    }

    std::error_code Note(const std::string& operation, const std::string& argument) const {
      mNetwork.opened += operation == "open" ? 1 : 0;
      if (mNetwork.failures.count(operation) != 0) return std::make_error_code(mNetwork.failures[operation]);
      mNetwork.setUp.push_back(operation + argument);
      return {};
    }

    SFakeNetwork& mNetwork;
  };
};
