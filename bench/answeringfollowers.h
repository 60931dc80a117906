#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "src/components/loadbalancing/lbencryptedpacketparser.h"
#include "support/scriptedpeer.h"

/// Followers 1, 2, ... that answer their leader at once, and nothing else: they know no timeout. At every
/// fourth one a vehicle uses three phases, at the others one, R, S and T in turns; each draws what it may, up
/// to 16 A. One thread.
class CAnsweringFollowers {
 public:
  /// A packet of that follower's to its leader.
  using AnswerHandler = std::function<void(std::uint32_t follower, std::vector<std::uint8_t> packet)>;

  CAnsweringFollowers(std::uint32_t count, std::string_view password, std::uint16_t group);

  /// From the leader. The answer handler is called meanwhile.
  void Hear(std::uint32_t follower, std::span<const std::uint8_t> packet);
  void HearAll(std::span<const std::uint8_t> packet);
  void SetAnswerHandler(AnswerHandler handler) { mAnswerHandler = std::move(handler); }

  /// What one of them alone was asked so far, all together.
  std::uint64_t Requests() const { return mRequests; }
  /// Processor time that was spent in here so far.
  std::chrono::nanoseconds Spent() const { return mSpent; }

 private:
  struct SFollower {
    std::shared_ptr<CScriptedPeer> leader = std::make_shared<CScriptedPeer>();
    bool isDiscovered = false;
  };

  static LbSerialNumber SerialNumberOf(std::uint32_t follower);
  static SLbLoad LoadOf(std::uint32_t follower, const LbMessages::SLimitRequest& request);
  void Parse(const std::shared_ptr<CScriptedPeer>& leader, std::span<const std::uint8_t> packet);
  void Take(const SLbMessage& message);
  SLbMessage AnswerTo(const SLbMessage& request);
  void Discover(const LbMessages::SDiscovery& discovery);
  void Answer(std::uint32_t follower, const SLbMessage& message);

  CLbEncryptedPacketParser mParser;
  std::vector<SFollower> mFollowers;
  const std::shared_ptr<CScriptedPeer> mEverybody = std::make_shared<CScriptedPeer>();
  std::uint32_t mHearing = 0;  ///< 0: all
  AnswerHandler mAnswerHandler;
  std::uint64_t mRequests = 0;
  std::chrono::nanoseconds mSpent{0};
};
