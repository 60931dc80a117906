#include "src/components/loadbalancing/lbencryptedpacketparser.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <thread>
#include <utility>

#include <gmock/gmock.h>

#include "lbvectors.h"
#include "platform/log/logcapture.h"
#include "support/scriptedpeer.h"
#include "support/scriptedrandom.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using ELogLevel = Log::ELogLevel;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr LbSerialNumber kSerial{0x0c, 0x22, 0xc9, 0x21, 0x2d, 0x25};

/// A member of group 7.
class CMember {
 public:
  explicit CMember(const std::string& password = "abc", std::uint16_t group = 7) {
    mHasKey = mParser.Initialize(password, group);
  }

  std::vector<SLbMessage> Receive(const Bytes& bytes, const std::shared_ptr<CScriptedPeer>& from) {
    std::vector<SLbMessage> found;
    mParser.SetMessageHandler([&](const auto& message, const auto&) { found.push_back(message); });
    from->mReceived = bytes;
    mParser.Parse(from);
    return found;
  }
  /// From a peer with that sequence number; each time with another nonce.
  Bytes Packet(SLbMessage message, std::optional<std::uint32_t> sequence) {
    CScriptedPeer to;
    to.mSequence.SetNewest(sequence);
    return mParser.Serialize(message, &to);
  }

  CScriptedRandom::SScript mRandom;
  CLbEncryptedPacketParser mParser{std::make_unique<CScriptedRandom>(mRandom)};
  bool mHasKey = false;
};

SLbMessage MessageOf(std::string_view plain) {
  SLbMessage message;
  std::ranges::copy(BytesOf(plain), message.bytes.begin());
  return message;
}
bool IsAdvancing(std::uint8_t id) {
  return id == 0x44 || id == 0x66 || id == 0x88;
}
std::shared_ptr<CScriptedPeer> Peer() {
  return std::make_shared<CScriptedPeer>();
}

TEST(LbEncryptedPacketParser, HasTheKeyThatPasswordAndGroupGive) {
  for (const Json::Value& each : LbVectors("keys")) {
    const std::string password = each["password"].asString();
    CLogCapture log;
    CMember member(password, static_cast<std::uint16_t>(each["group"].asUInt()));
    EXPECT_THAT(log.Texts(ELogLevel::Info),
                ElementsAre("Ethernet group load balancing encryption initialized"));
    EXPECT_EQ(member.Receive(BytesOf(each["reset"].asString()), Peer()).size(), 1U) << password;
    EXPECT_EQ(log.Lines().size(), 2U);  // and on entry: nothing of the password
  }
}

TEST(LbEncryptedPacketParser, MakesAndOpensThePacketsThatOthersMake) {
  for (const Json::Value& each : LbVectors("messages")) {
    CMember member;
    const SLbMessage message = MessageOf(each["plain"].asString());
    const Bytes packet = BytesOf(each["packet"].asString());
    const bool hasNumber = each["sequence"].isUInt();
    const auto number = hasNumber ? std::optional(each["sequence"].asUInt()) : std::nullopt;
    std::ranges::copy(BytesOf(each["nonce"].asString()), member.mRandom.block.begin());
    EXPECT_EQ(member.Packet(message, hasNumber && IsAdvancing(message.Id()) ? *number - 1 : number), packet);
    EXPECT_EQ(member.mParser.GetPacketSize(message.Id(), true), packet.size());

    const auto peer = Peer();
    const auto found = member.Receive(packet, peer);
    ASSERT_EQ(found.size(), 1U) << each["plain"];
    EXPECT_EQ(found.front().bytes, message.bytes);
    EXPECT_EQ(peer->mSequence.Newest(), number);
    EXPECT_EQ(peer->mAccepted, 1);

    const auto other = Peer();
    EXPECT_THAT(member.Receive(packet, other), IsEmpty()) << "again, from whom it may be";
    EXPECT_EQ(other->mAccepted, 0);
  }
}

TEST(LbEncryptedPacketParser, RefusesWhatTheGroupHasNotMadeSo) {
  CMember member;
  const Bytes good = member.Packet(MessageOf("660c22c9212d2554"), 5);
  for (const Json::Value& each : LbVectors("refused")) {
    const auto peer = Peer();
    CLogCapture log(ELogLevel::Debug);
    EXPECT_THAT(member.Receive(BytesOf(each["packet"].asString()), peer), IsEmpty()) << each["what"];
    const std::vector<std::string> lines = log.Texts(ELogLevel::Debug);
    const std::string line = each["log"].asString();
    EXPECT_EQ(lines.empty() ? "" : lines.front(), line) << each["what"];
    EXPECT_EQ(peer->mAccepted, 0);
    EXPECT_FALSE(peer->mSequence.Newest());
  }
  EXPECT_EQ(member.Receive(good, Peer()).size(), 1U);
}

TEST(LbEncryptedPacketParser, TakesRequestsThatAreAheadAndAnswersThatAreNot) {
  CMember member;
  const auto receive = [&](const char* plain, std::uint32_t number) {
    const auto peer = Peer();
    peer->mSequence.SetNewest(100);
    const SLbMessage message = MessageOf(plain);
    const bool isTaken =
        !member.Receive(member.Packet(message, number - IsAdvancing(message.Id())), peer).empty();
    EXPECT_EQ(peer->mSequence.Newest(), isTaken ? number : 100);
    return isTaken;
  };
  const CLogCapture log;
  EXPECT_TRUE(receive("880c22c9212d25000000000115", 110));
  EXPECT_TRUE(receive("550c22c9212d250300f3", 100));
  EXPECT_FALSE(receive("550c22c9212d250300f3", 101));
  EXPECT_FALSE(receive("880c22c9212d25000000000115", 100));
  EXPECT_EQ(log.Texts(ELogLevel::Trace).back(),
            "Invalid metadata for message with id 0x88 for endpoint the peer");
}

TEST(LbEncryptedPacketParser, SkipsWhatIsNoPacket) {
  CMember member;
  EXPECT_FALSE(member.mParser.GetPacketSize(0x12, true));
  CScriptedPeer line(false);
  EXPECT_EQ(member.mParser.Serialize(LbMessages::LineDiscoveryAnswer(), &line), Bytes{0x33});
  EXPECT_THAT(member.mParser.Serialize(MessageOf("12"), &line), IsEmpty());

  CLogCapture log;
  const Bytes bytes(60, 0x33);
  for (const auto& [id, size] :
       {std::pair{0x33, 45U}, {0x12, 45U}, {0x88, 46U}, {0x88, 0xffffffffU}, {0x99, 61U}}) {
    auto position = std::span(bytes);
    EXPECT_FALSE(member.mParser.CheckAndCopy(static_cast<std::uint8_t>(id), position, size, line));
    EXPECT_EQ(position.size(), bytes.size());
  }
  EXPECT_EQ(log.Texts(ELogLevel::Trace).size(), 5U);
  EXPECT_EQ(log.Count("Skipping invalid packet; msg=0x33, dms=1, dbs=0, ebs=0, eps=45, hm=yes"), 1);
  EXPECT_EQ(log.Count("Skipping invalid packet; msg=0x12, dms=0, dbs=0, ebs=0, eps=0, hm=no"), 1);
  EXPECT_EQ(log.Count("Skipping invalid packet; msg=0x99, dms=21, dbs=20, ebs=32, eps=61, hm=yes"), 1);
}

TEST(LbEncryptedPacketParser, TellsOnceWhyNothingIsSent) {
  const SLbMessage reset = LbMessages::Reset();
  const SLbMessage answer = LbMessages::InfoAnswer(kSerial);
  CMember member;
  CLogCapture log(ELogLevel::Error);
  const auto fails = [&](const SLbMessage& message, std::optional<std::uint32_t> sequence, const char* why) {
    for (int time = 0; time < 2; ++time) EXPECT_THAT(member.Packet(message, sequence), IsEmpty());
    EXPECT_THAT(log.Texts(ELogLevel::Error), ElementsAre(why));
    log.Clear();
  };
  for (int round = 0; round < 2; ++round) {
    fails(answer, std::nullopt, "Failed to generate new metadata");
    member.mRandom.blockResult = -199;
    fails(reset, 1, "wc_RNG_GenerateBlock failed, rc=-199, msg=Random Number Generator failed");
    member.mRandom.blockResult = 0;
    EXPECT_EQ(member.Packet(answer, 1).size(), 45U);
  }
  EXPECT_THAT(member.mParser.Serialize(answer, nullptr), IsEmpty());
  EXPECT_THAT(log.Texts(ELogLevel::Error),
              ElementsAre("Cannot serialize message with metadata without endpoint to get it from"));
}

TEST(LbEncryptedPacketParser, NeitherMakesNorOpensAnythingWithoutKey) {
  CLogCapture log;
  CScriptedRandom::SScript script{.initResult = -199};
  CLbEncryptedPacketParser parser(std::make_unique<CScriptedRandom>(script));
  EXPECT_FALSE(parser.Initialize("abc", 7));
  EXPECT_THAT(parser.Serialize(LbMessages::Reset(), nullptr), IsEmpty());
  EXPECT_THAT(log.Texts(ELogLevel::Error),
              ElementsAre("wc_InitRng failed, rc=-199, msg=Random Number Generator failed",
                          "wc_AesGcmEncrypt failed, rc=-173, msg=Bad function argument"));
  const Bytes packet = BytesOf(LbVectors("messages")[0]["packet"].asString());
  auto position = std::span(packet);
  CScriptedPeer peer;
  EXPECT_FALSE(parser.CheckAndCopy(0x11, position, 41, peer));
}

TEST(LbReplayGuard, ForgetsTheOldestOfASetOnly) {
  const auto nonce = [](std::uint8_t number) { return std::array<std::uint8_t, 12>{number}; };
  CLbReplayGuard guard;
  EXPECT_FALSE(guard.Knows(nonce(0)));
  for (std::uint8_t number = 0; number < 18; ++number) guard.Remember(nonce(number));
  for (std::uint8_t number = 0; number < 19; ++number)
    EXPECT_EQ(guard.Knows(nonce(number)), number >= 2 && number < 18) << int{number};
}

TEST(LbEncryptedPacketParser, SendsAndReceivesAtTheSameTime) {
  CMember sender;
  CMember member;
  Bytes packets;
  for (std::uint32_t sequence = 0; sequence < 200; ++sequence)
    std::ranges::copy(sender.Packet(LbMessages::InfoRequest(kSerial), sequence), std::back_inserter(packets));
  std::vector<Bytes> sent(200);
  std::thread thread([&] {
    std::ranges::generate(sent, [&] { return member.Packet(LbMessages::InfoAnswer(kSerial), 5); });
  });
  EXPECT_EQ(member.Receive(packets, Peer()).size(), 200U);
  thread.join();
  for (const Bytes& packet : sent) EXPECT_EQ(sender.Receive(packet, Peer()).size(), 1U);
}

}  // namespace
