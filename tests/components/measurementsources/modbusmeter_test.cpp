#include <fstream>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <json/reader.h>

#include "platform/utility/jsontext.h"
#include "platform/worker/virtualscheduler.h"
#include "src/components/measurementsources/modbusdecoder.h"
#include "src/components/measurementsources/modbusmeterparameters.h"
#include "src/components/measurementsources/sunspecsearch.h"

namespace {

using testing::HasSubstr;
using Image = std::map<std::uint32_t, std::uint16_t>;
using EScrutiny = CModbusDecoder::EScrutiny;

constexpr auto kTcp = EModbusConnectionKind::Tcp;
constexpr auto kRtu = EModbusConnectionKind::Rtu;

/// Meters as others have worked their registers out, all of which show the same.
Json::Value Vectors() {
  Json::Value read;
  std::ifstream(TEST_DATA "/modbus_vectors.json") >> read;
  return read;
}

Image RegistersIn(const Json::Value& vector) {
  Image image;
  const Json::Value& words = vector["registers"];
  for (auto each = words.begin(); each != words.end(); ++each)
    image[static_cast<std::uint32_t>(std::stoul(each.name()))] = static_cast<std::uint16_t>(each->asUInt());
  return image;
}

Image ImageOf(std::string_view name) {
  const Json::Value vectors = Vectors();
  return RegistersIn(
      *std::ranges::find(vectors, name, [](const auto& each) { return each["id"].asString(); }));
}

Image Changed(Image image, const Image& changes) {
  for (const auto& [address, word] : changes) image[address] = word;
  return image;
}

/// As a meter answers that refuses what it does not have.
SModbusResult ReadImage(const Image& image, std::uint16_t address, std::span<std::uint16_t> registers) {
  for (std::uint32_t at = address; auto& word : registers) {
    const auto found = image.find(at++);
    if (found == image.end()) return {SModbusResult::EKind::Refused, "Illegal data address"};
    word = found->second;
  }
  return {};
}

SModbusResult Search(const Image& image, ESunSpec values, SModbusMap& map, Milliseconds answerTime = {}) {
  CVirtualScheduler scheduler;
  const auto read = [&](std::uint16_t address, std::span<std::uint16_t> registers) {
    scheduler.RunFor(answerTime);
    return ReadImage(image, address, registers);
  };
  return CSunSpecSearch(scheduler, read).Find(values, map);
}

CModbusDecoder::Answer Decode(const Image& image, const CModbusDecoder& decoder,
                              EScrutiny scrutiny = EScrutiny::Strict) {
  std::vector<std::uint16_t> registers(decoder.Plan().Registers());
  std::span<std::uint16_t> rest = registers;
  for (const auto& block : decoder.Plan().Blocks()) {
    const auto result = ReadImage(image, block.address, rest.first(block.count));
    if (!result) return result.reason;
    rest = rest.subspan(block.count);
  }
  return decoder.Decode(registers, scrutiny);
}

std::string Why(const CModbusDecoder::Answer& answer) {
  const auto* reason = std::get_if<std::string>(&answer);
  return reason == nullptr ? "" : *reason;
}

TEST(ModbusMeterTest, EveryModelReadsItsRegistersInFewRequests) {
  const Json::Value vectors = Vectors();
  EXPECT_EQ(ModbusMeterModels().size(), vectors.size());
  for (const auto& vector : vectors) {
    const std::string name = vector["id"].asString();
    SCOPED_TRACE(name);
    const SModbusMeterModel* model = FindModbusMeterModel(name);
    ASSERT_NE(model, nullptr);
    EXPECT_LE(vector["requests"].asUInt(), 3U);
    Image image = RegistersIn(vector);
    SModbusMap map = model->map;
    EXPECT_TRUE(model->sunSpec == ESunSpec::No || Search(image, model->sunSpec, map));
    EXPECT_EQ(static_cast<unsigned>(map.table), vector["fc"].asUInt());
    EXPECT_EQ(model->unit, vector["unit_id"].asUInt());
    // The only meter with registers between those of the image.
    for (std::uint32_t at = 40; name == "kostal_ksem" && at <= 145; ++at) image.try_emplace(at, 4711);
    const CModbusDecoder decoder(map, map.phases, false);
    EXPECT_EQ(decoder.Plan().Blocks().size(), vector["requests"].asUInt());
    for (const auto& block : decoder.Plan().Blocks()) EXPECT_LE(block.count, map.mostRegisters);
    const auto answer = Decode(image, decoder);
    ASSERT_EQ(Why(answer), "");
    SMeterReading expected{
        .current = {{6010, -2350, 9820}}, .voltage = {{231, 230, 231}}, .activePower = {{3100}}};
    if (vector["expect"]["current_a"].size() == 1) expected = {{{6010}}, {{231}}, {{1381}}};
    if (vector["expect"]["current_a"].isNull()) expected = {{}, {}, {{3100}}};
    EXPECT_EQ(std::get<SMeterReading>(answer), expected);
  }
}

TEST(ModbusMeterTest, WhatIsNotAvailableIsNoNumber) {
  using enum EModbusType;
  const auto decode = [](EModbusType type, std::uint64_t bits) {
    std::vector<std::uint16_t> registers;
    for (int left = RegistersOf(type) - 1; left >= 0; --left)
      registers.push_back(static_cast<std::uint16_t>(bits >> (16 * left)));
    return ModbusValues::Decode(type, registers);
  };
  const std::tuple<EModbusType, double, std::uint64_t, std::vector<std::uint64_t>> types[] = {
      {Float32, -776, 0xc4420000, {0x7fc00000, 0xffffffff, 0x7f800000, 0xff800000}},
      {Unsigned32, 65538, 0x00010002, {0xffffffff, 0x7fffffff, 0x80000000}},
      {Signed32, -1, 0xffffffff, {0x7fffffff, 0x80000000}},
      {Signed32LowWordFirst, -2, 0xfffeffff, {0xffff7fff, 0x00008000}},
      {ImportExport32, 7, 0x0000000700000000, {0x0000000780000000, 0xffffffff00000009}},
      {ImportExport32, -9, 9, {}},
      {Signed16, -1, 0xffff, {0x8000}}};
  for (const auto& [type, value, present, missing] : types) {
    EXPECT_EQ(decode(type, present), value);
    for (const auto bits : missing)
      EXPECT_EQ(decode(type, bits), std::nullopt) << static_cast<int>(type) << bits;
  }
}

TEST(ModbusMeterTest, ValuesAreDoubtedMostAtFirst) {
  struct SCase {
    Image changed;
    const char* first;  // why it is no reading
    const char* later;
  };
  constexpr std::uint16_t kNaN = 0x7fc0;
  const SCase cases[] = {
      {{}, "", ""},
      {{{2, kNaN}}, "no voltage on L2; \"phases\": 1 is for L1 alone", "no voltage on L2"},
      {{{16, kNaN}}, "no power on L3; \"phases\": 1", "no power on L3"},
      {{{0, 0x43c8}}, "about 400 V on L1 cannot be: the \"type\" may be wrong", ""},
      {{{4, 0x42c8}}, "about 100 V on L3", ""},
      {{{4, 0x4228}}, "about 40 V on L3", "about 40 V on L3"},
      {{{4, 0x447a}}, "about 1000 V on L3", "about 1000 V on L3"},
      {{{4, 0xc366}}, "about -200 V on L3", "about -200 V on L3"},
      {{{2, 0}, {3, 0}, {8, 0}, {9, 0}, {14, 0}, {15, 0}}, "", ""},  // two phases only
      {{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {12, 0}, {13, 0}, {14, 0}, {15, 0}, {16, 0}},
       "no phase has a voltage",
       "no phase has a voltage"},
      {{{8, 0x447a}}, "about 1000 A on L2 cannot be", "about 1000 A on L2 cannot be"},
      {{{12, 0x457a}}, "about 4000 W on L1, with its voltage and current, cannot be", ""},
      {{{12, 0x44fa}}, "", ""},  // 2002 W: something was switched on just now
      {{{12, 0x4a80}}, "about 4e+06 W on L1 cannot be", "about 4e+06 W"}};
  const auto& map = FindModbusMeterModel("eastron_sdm630")->map;
  const CModbusDecoder decoder(map, 3, false);
  const Image whole = ImageOf("eastron_sdm630");
  for (const SCase& each : cases) {
    const Image image = Changed(whole, each.changed);
    for (const auto& [scrutiny, reason] :
         {std::pair{EScrutiny::Strict, each.first}, {EScrutiny::Loose, each.later}}) {
      const std::string why = Why(Decode(image, decoder, scrutiny));
      EXPECT_THAT(why, HasSubstr(reason));
      EXPECT_EQ(why.empty(), *reason == '\0') << why;
    }
  }
  EXPECT_EQ(std::get<SMeterReading>(Decode(Changed(whole, {{8, kNaN}}), CModbusDecoder(map, 1, true))),
            (SMeterReading{{{-6010}}, {{231}}, {{-1381}}}));
  EXPECT_EQ(std::get<SMeterReading>(Decode(Changed(whole, {{12, 0}, {13, 0}}), CModbusDecoder(map, 3, true)))
                .current,
            (ThreePhaseValue{6010, 2350, -9820}));
}

TEST(SunSpecTest, ListsAreWalkedWhateverTheyHold) {
  struct SCase {
    Image image;
    const char* reason;  // empty: a meter was found
  };
  const Image mark{{0, 0x5375}, {1, 0x6e53}};
  const auto list = [&mark](const Image& rest) { return Changed(mark, rest); };
  Image endless = mark;
  for (std::uint32_t i = 2; i < 1000; ++i) endless[i] = 0;
  const SCase cases[] = {
      {{}, "no SunSpec list is there: Illegal data address"},
      {{{39999, 0x5375}, {40000, 0x6e53}, {40001, 203}, {40002, 105}}, ""},
      {{{50000, 0x5375}, {50001, 0x6e53}, {50002, 201}, {50003, 105}}, ""},
      {list({{2, 1}, {3, 4}, {8, 202}, {9, 105}}), ""},
      {mark, "the SunSpec list breaks off at 2: Illegal data address"},
      {list({{2, 1}, {3, 65535}}), "the SunSpec list breaks off at 65539: there are no more registers"},
      {list({{2, 203}, {3, 20}}), "the SunSpec model 203 at 2 has the length 20"},
      {list({{2, 203}, {3, 65533}}), "the SunSpec model 203 at 2 has the length 65533"},
      {list({{2, 1}, {3, 0}, {4, 213}, {5, 124}, {130, 65535}, {131, 0}}),
       "the SunSpec list has no model 201 to 204, only: 1, 213"},
      {endless, "the SunSpec list has no model 201 to 204, only: 0, 0, "}};
  SModbusMap map;
  for (const SCase& each : cases) {
    const SModbusResult result = Search(each.image, ESunSpec::Integers, map);
    EXPECT_EQ(result.kind == SModbusResult::EKind::Ok, *each.reason == '\0') << result.reason;
    EXPECT_THAT(result.reason, HasSubstr(each.reason));
  }
  EXPECT_EQ(Search(endless, ESunSpec::Floats, map, Milliseconds{900}).reason,
            "the SunSpec list breaks off at 2: no meter was found in 2000 ms");
}

TEST(SunSpecTest, PowerOfPhasesMayBeMissingButNotTheirCurrents) {
  const Image whole = ImageOf("sunspec_203");
  SModbusMap map;
  ASSERT_TRUE(Search(whole, ESunSpec::Integers, map));
  const CModbusDecoder decoder(map, 3, false);
  const auto with = [&](const Image& changes) { return Decode(Changed(whole, changes), decoder); };
  constexpr std::uint16_t kNone = 0x8000;
  EXPECT_EQ(std::get<SMeterReading>(with({{40089, kNone}, {40090, kNone}, {40091, kNone}})),
            (SMeterReading{{{6010, 2350, 9820}}, {{231, 230, 231}}, {{3100}}}));
  EXPECT_EQ(std::get<SMeterReading>(with({{40073, 61}, {40074, 24}, {40075, 98}, {40076, 65535}})).current,
            (ThreePhaseValue{6100, -2400, 9800}))
      << "another power of ten";
  EXPECT_THAT(Why(with({{40090, kNone}})), HasSubstr("no power on L2"));
  EXPECT_THAT(Why(with({{40076, kNone}})), HasSubstr("no current on L1"));
  EXPECT_THAT(Why(with({{40085, 11}})), HasSubstr("no voltage on L1"));
}

TEST(ModbusMeterParametersTest, EachParameterIsCheckedAndNamed) {
  std::ifstream lines(TEST_DATA "/modbus_parameters.txt");
  std::string line;
  int count = 0;
  for (std::getline(lines, line); std::getline(lines, line); ++count) {
    const auto kind = line.starts_with("tcp ") ? kTcp : kRtu;
    const std::size_t arrow = line.find(" => ");
    Json::Value json;
    ASSERT_EQ(JsonText::ParseObject(line.substr(4, arrow - 4), json), "");
    const auto parsed = ModbusMeterParameters::Parse(kind, json, {.device = "/dev/line"});
    const auto* read = std::get_if<SModbusMeterParameters>(&parsed);
    std::string text = read == nullptr ? std::get<std::string>(parsed) : read->Label();
    if (read != nullptr && kind == kRtu) {
      text += fmt::format(": {} {} {} {}{}", read->line.baud, static_cast<char>(read->line.parity),
                          read->line.stopBits, read->line.autoDirection ? "auto" : "fixed",
                          read->isInverted ? ", inverted" : "");
    }
    EXPECT_THAT(text, HasSubstr(line.substr(arrow + 4))) << line;
  }
  EXPECT_EQ(count, 29);
  EXPECT_EQ(ModbusMeterParameters::Parse(kTcp, Json::arrayValue, {}).index(), 1U) << "no object";
}

}  // namespace
