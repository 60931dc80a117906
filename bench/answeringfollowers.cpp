#include "bench/answeringfollowers.h"

#include <algorithm>

#include "bench/processortime.h"
#include "platform/crypto/wolfrandom.h"

namespace {

constexpr std::uint32_t kLeastMilliAmpere = 6000;
constexpr std::uint32_t kMostMilliAmpere = 16000;
constexpr std::uint32_t kPhaseDiscoveryMilliAmpere = 10000;
constexpr std::uint32_t kFirstNumber = 1000;

}  // namespace

CAnsweringFollowers::CAnsweringFollowers(std::uint32_t count, std::string_view password, std::uint16_t group)
    : mParser(std::make_unique<CWolfRandom>()), mFollowers(count) {
  mParser.Initialize(password, group);
  mParser.SetMessageHandler([this](const SLbMessage& message, const auto&) { Take(message); });
  for (SFollower& each : mFollowers) each.leader->mSequence.SetNewest(kFirstNumber);
}

void CAnsweringFollowers::Hear(std::uint32_t follower, std::span<const std::uint8_t> packet) {
  const auto begin = ProcessorTimeOfThisThread();
  mHearing = follower;
  Parse(mFollowers.at(follower - 1).leader, packet);
  mSpent += ProcessorTimeOfThisThread() - begin;
}

void CAnsweringFollowers::HearAll(std::span<const std::uint8_t> packet) {
  const auto begin = ProcessorTimeOfThisThread();
  Parse(mEverybody, packet);
  mSpent += ProcessorTimeOfThisThread() - begin;
}

void CAnsweringFollowers::Parse(const std::shared_ptr<CScriptedPeer>& leader,
                                std::span<const std::uint8_t> packet) {
  leader->mReceived.assign(packet.begin(), packet.end());
  mParser.Parse(leader);
}

void CAnsweringFollowers::Take(const SLbMessage& message) {
  switch (static_cast<ELbMessage>(message.Id())) {
    case ELbMessage::Reset:
      for (SFollower& each : mFollowers) each.isDiscovered = false;
      break;
    case ELbMessage::Discovery:
      Discover(LbMessages::ReadDiscovery(message));
      break;
    default:
      Answer(mHearing, AnswerTo(message));
      break;
  }
}

void CAnsweringFollowers::Discover(const LbMessages::SDiscovery& discovery) {
  for (std::uint32_t follower = 1; follower <= mFollowers.size(); ++follower) {
    const LbSerialNumber serialNumber = SerialNumberOf(follower);
    const bool isMeant = HasLbPrefix(serialNumber, discovery.prefix, discovery.prefixBits);
    if (isMeant && !mFollowers[follower - 1].isDiscovered)
      Answer(follower, LbMessages::DiscoveryAnswer(serialNumber));
  }
}

SLbMessage CAnsweringFollowers::AnswerTo(const SLbMessage& request) {
  ++mRequests;
  const LbSerialNumber serialNumber = LbMessages::SerialNumberOf(request);
  switch (static_cast<ELbMessage>(request.Id())) {
    case ELbMessage::InfoRequest:
      return LbMessages::InfoAnswer(serialNumber);
    case ELbMessage::FallbackRequest:
      return LbMessages::FallbackAnswer(serialNumber, 0);
    default:
      mFollowers[mHearing - 1].isDiscovered = true;
      return LbMessages::Write(LbMessages::SLimitAnswer{
          .serialNumber = serialNumber, .load = LoadOf(mHearing, LbMessages::ReadLimitRequest(request))});
  }
}

void CAnsweringFollowers::Answer(std::uint32_t follower, const SLbMessage& message) {
  CScriptedPeer* const leader = mFollowers[follower - 1].leader.get();
  mAnswerHandler(follower, mParser.Serialize(message, leader));
}

LbSerialNumber CAnsweringFollowers::SerialNumberOf(std::uint32_t follower) {
  return {static_cast<std::uint8_t>(follower), 34};
}

SLbLoad CAnsweringFollowers::LoadOf(std::uint32_t follower, const LbMessages::SLimitRequest& request) {
  const std::uint32_t limit = request.flags != 0 ? kPhaseDiscoveryMilliAmpere : request.milliAmpere;
  const std::uint32_t drawn = limit < kLeastMilliAmpere ? 0 : std::min(limit, kMostMilliAmpere);
  if (follower % 4 == 0) return {.milliAmpere = {drawn, drawn, drawn}};
  SLbLoad load;
  load.milliAmpere[follower % 4 - 1] = drawn;
  return load;
}
