#include "src/components/loadbalancing/lbpacketparser.h"

#include <span>
#include <string>
#include <utility>

#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include "lbvectors.h"
#include "support/scriptedpeer.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr LbSerialNumber kSerial{0x0c, 0x22, 0xc9, 0x21, 0x2d, 0x25};

TEST(LbSerialNumber, IsWhatTheTextSaysOrNone) {
  for (const Json::Value& each : LbVectors("serialNumbers")) {
    const auto number = ToLbSerialNumber(each["text"].asString());
    ASSERT_EQ(number.has_value(), each["bytes"].isString()) << each["text"];
    const Bytes bytes = number ? Bytes(number->begin(), number->end()) : Bytes();
    EXPECT_EQ(bytes, BytesOf(each["bytes"].asString())) << each["text"];
  }
  EXPECT_EQ(ToText(LbSerialNumber{99, 1, 0xff, 0xff, 0xff, 0xff}), "63:01:ff:ff:ff:ff");
}

TEST(LbSerialNumber, IsMatchedBitByBitLeastSignificantFirst) {
  constexpr LbSerialNumber kLast{0x0c, 0x22, 0xc9, 0x21, 0x2d, 0xa5};   // bit 47 is another
  constexpr LbSerialNumber kFifth{0x1c, 0x22, 0xc9, 0x21, 0x2d, 0x25};  // bit 4
  EXPECT_TRUE(HasLbPrefix(kSerial, LbSerialNumber{0xff}, 0));
  for (const auto& [prefix, alike] : {std::pair(kLast, 47), std::pair(kFifth, 4), std::pair(kSerial, 255)})
    for (int bits = 0; bits < 256; ++bits)
      EXPECT_EQ(HasLbPrefix(kSerial, prefix, static_cast<std::uint8_t>(bits)), bits <= alike) << bits;
}

TEST(LbMessages, AreWrittenAndReadAsTheWireHasThem) {
  using namespace LbMessages;
  const std::vector<SLbMessage> written{
      Reset(),
      Write(SDiscovery{.prefix = {0x0c, 0x22, 0xe1}, .prefixBits = 24}),
      DiscoveryAnswer(kSerial),
      InfoRequest(kSerial),
      InfoAnswer(kSerial),
      FallbackRequest(kSerial),
      FallbackAnswer(kSerial, 6000),
      Write(SLimitRequest{.serialNumber = kSerial, .flags = kLbPhaseDiscoveryFlag}),
      Write(SLimitAnswer{
          .serialNumber = kSerial, .load = {.milliAmpere = {16000, 0x01020304, 0xffffffff}, .report = 0x87}})};
  const Json::Value vectors = LbVectors("messages");
  ASSERT_EQ(written.size(), vectors.size());
  CLbPacketParser parser;
  CScriptedPeer network;
  for (Json::ArrayIndex each = 0; each < vectors.size(); ++each)
    EXPECT_EQ(parser.Serialize(written[each], &network), BytesOf(vectors[each]["plain"].asString())) << each;

  std::vector<SLbMessage> read;
  parser.SetMessageHandler([&](const auto& message, const auto&) { read.push_back(message); });
  const auto peer = std::make_shared<CScriptedPeer>();
  for (const Json::Value& each : vectors)
    for (const std::uint8_t byte : BytesOf(each["plain"].asString())) peer->mReceived.push_back(byte);
  parser.Parse(peer);
  ASSERT_EQ(read.size(), 9U);
  EXPECT_EQ(SerialNumberOf(read[2]), kSerial);
  EXPECT_EQ(ReadDiscovery(read[1]).prefix, (LbSerialNumber{0x0c, 0x22, 0xe1}));
  EXPECT_EQ(ReadDiscovery(read[1]).prefixBits, 24);
  EXPECT_EQ(ReadDiscovery(read[1]).version, 3);
  EXPECT_EQ(ReadFallbackAnswer(read[6]), 6000U);
  EXPECT_EQ(ReadLimitRequest(read[7]).milliAmpere, 0U);
  EXPECT_EQ(ReadLimitRequest(read[7]).flags, 1);
  EXPECT_EQ(ReadLimitAnswer(read[8]).load.milliAmpere,
            (std::array<std::uint32_t, 3>{16000, 0x01020304, 0xffffffff}));
  EXPECT_EQ(ReadLimitAnswer(read[8]).load.report, 0x87);
}

TEST(LbPacketParser, HasShortAnswersToDiscoveryOnALine) {
  CLbPacketParser parser;
  CScriptedPeer line(false);
  EXPECT_EQ(parser.Serialize(LbMessages::DiscoveryAnswer(kSerial), &line), Bytes{0x33});
  EXPECT_EQ(parser.Serialize(LbMessages::LineDiscoveryAnswer(), nullptr), Bytes{0x33});
  EXPECT_EQ(parser.Serialize(LbMessages::Reset(), nullptr), (Bytes{0x11, 0xe4}));
  EXPECT_TRUE(parser.Serialize(SLbMessage{.bytes = {0x12}}, &line).empty());
  const auto peer = std::make_shared<CScriptedPeer>();
  peer->mReceived = BytesOf("11e499");
  parser.Parse(peer);  // there is no handler
  EXPECT_EQ(peer->mReceived, BytesOf("99"));
}

TEST(LbPacketParser, FindsMessagesBetweenWhateverElseComesInWhateverPieces) {
  struct SCase {
    const char* received;
    const char* found;
    const char* left;
    bool isNetwork = true;
  };
  const std::vector<SCase> cases{
      {"00ff12", "", ""},
      {"0011e411e4ff330c22c9212d251a", "11e4 11e4 330c22c9212d251a ", ""},
      {"330c22c9212d251a", "33 ", "22c9212d251a", false},  // what may begin another is waited for
      {"3333aa11e4", "33 33 11e4 ", "", false},
      {"11e511e4", "11e4 ", ""},  // damaged
      {"1111e4", "11e4 ", ""},    // the first byte begins none
      {"330c22c9212d251b11e4", "", "22c9212d251b11e4"},
      {"330c22c9212d251b000000000011e4", "11e4 ", ""},
      {"440c22c9212d25", "", "440c22c9212d25"},
      {"ff99000000", "", "99000000"}};
  for (const SCase& each : cases)
    for (const std::size_t piece : {1U, 3U, 99U}) {
      CLbPacketParser parser;
      const auto peer = std::make_shared<CScriptedPeer>(each.isNetwork);
      std::string found;
      parser.SetMessageHandler([&](const SLbMessage& message, const auto&) {
        const std::size_t size = *parser.GetPacketSize(message.Id(), each.isNetwork);
        found += fmt::format("{:02x} ", fmt::join(std::span(message.bytes).first(size), ""));
      });
      std::size_t count = 0;
      for (const std::uint8_t byte : BytesOf(each.received)) {
        peer->mReceived.push_back(byte);
        if (++count % piece == 0) parser.Parse(peer);
      }
      parser.Parse(peer);
      EXPECT_EQ(found, each.found) << each.received;
      EXPECT_EQ(peer->mReceived, BytesOf(each.left)) << each.received;
    }
}

}  // namespace
