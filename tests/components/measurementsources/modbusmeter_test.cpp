#include <array>
#include <cmath>
#include <fstream>
#include <map>
#include <string>

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
const Json::Value& Vectors() {
  static const Json::Value vectors = [] {
    Json::Value read;
    std::ifstream(TEST_DATA "/modbus_vectors.json") >> read;
    return read;
  }();
  return vectors;
}

const Json::Value& VectorOf(std::string_view name) {
  for (const auto& each : Vectors())
    if (each["id"].asString() == name) return each;
  throw std::out_of_range(std::string(name));
}

Image ImageOf(const Json::Value& vector) {
  Image image;
  for (const auto& address : vector["registers"].getMemberNames())
    image[static_cast<std::uint32_t>(std::stoul(address))] =
        static_cast<std::uint16_t>(vector["registers"][address].asUInt());
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

SModbusResult Search(const Image& image, ESunSpec values, SModbusMap& map) {
  CVirtualScheduler scheduler;
  return CSunSpecSearch(scheduler,
                        [&image](std::uint16_t address, std::span<std::uint16_t> registers) {
                          return ReadImage(image, address, registers);
                        })
      .Find(values, map);
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
  // Fewer than three where the registers lie side by side, or what is between them is known.
  const std::map<std::string, std::size_t> requests{{"abb_b21", 3},         {"abb_b23", 3},
                                                    {"cg_em111", 1},        {"cg_em24_e1", 2},
                                                    {"cg_em24_rs485", 3},   {"cg_em340", 2},
                                                    {"eastron_sdm120", 3},  {"eastron_sdm230", 3},
                                                    {"eastron_sdm630", 1},  {"eastron_sdm72dm_v1", 1},
                                                    {"finder_7e78", 3},     {"finder_7m38", 3},
                                                    {"inepro_pro380", 2},   {"janitza_b23", 3},
                                                    {"janitza_umg", 3},     {"kostal_ksem", 1},
                                                    {"phoenix_ma370", 2},   {"schneider_iem3155", 3},
                                                    {"siemens_pac2200", 3}, {"sunspec_203", 1},
                                                    {"sunspec_213", 1}};
  EXPECT_EQ(ModbusMeterModels().size(), requests.size());
  EXPECT_EQ(Vectors().size(), requests.size());
  for (const auto& vector : Vectors()) {
    const std::string name = vector["id"].asString();
    SCOPED_TRACE(name);
    const SModbusMeterModel* model = FindModbusMeterModel(name);
    ASSERT_NE(model, nullptr);
    Image image = ImageOf(vector);
    SModbusMap map = model->map;
    if (model->sunSpec != ESunSpec::No) {
      ASSERT_TRUE(Search(image, model->sunSpec, map));
    }
    EXPECT_EQ(static_cast<unsigned>(map.table), vector["fc"].asUInt());
    EXPECT_EQ(model->unit, vector["unit_id"].asUInt());
    // The only meter with registers between those of the image.
    if (name == "kostal_ksem") {
      for (std::uint32_t address = 40; address <= 145; ++address) image.try_emplace(address, 4711);
    }
    const CModbusDecoder decoder(map, map.phases, false);
    EXPECT_EQ(decoder.Plan().Blocks().size(), requests.at(name));
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
  struct SCase {
    EModbusType type;
    std::array<std::uint16_t, 4> registers;
    std::optional<double> value;
  };
  const SCase cases[] = {
      {Float32, {0x4366, 0x3333}, 230.2F},
      {Float32, {0xc442, 0x0000}, -776},
      {Float32, {0x7fc0, 0x0000}, {}},
      {Float32, {0xffff, 0xffff}, {}},
      {Float32, {0x7f80, 0x0000}, {}},
      {Unsigned32, {0x0001, 0x0002}, 65538},
      {Unsigned32, {0xffff, 0xffff}, {}},
      {Unsigned32, {0x7fff, 0xffff}, {}},
      {Unsigned32, {0x8000, 0x0000}, {}},
      {Signed32, {0xffff, 0xffff}, -1},
      {Signed32, {0x7fff, 0xffff}, {}},
      {Signed32, {0x8000, 0x0000}, {}},
      {Signed32LowWordFirst, {0xfffe, 0xffff}, -2},
      {Signed32LowWordFirst, {0xffff, 0x7fff}, {}},
      {Signed32LowWordFirst, {0x0000, 0x8000}, {}},
      {ImportExport32, {0, 7, 0, 0}, 7},
      {ImportExport32, {0, 0, 0, 9}, -9},
      {ImportExport32, {0, 7, 0x8000, 0}, {}},
      {ImportExport32, {0xffff, 0xffff, 0, 9}, {}},
      {Signed16, {0x7fff}, 32767},
      {Signed16, {0xffff}, -1},
      {Signed16, {0x8000}, {}},
  };
  for (const SCase& each : cases) {
    EXPECT_EQ(ModbusValues::Decode(each.type, std::span(each.registers).first(RegistersOf(each.type))),
              each.value)
        << static_cast<int>(each.type) << " " << each.registers[0] << " " << each.registers[1];
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
      {{{6, kNaN}}, "no current on L1", "no current on L1"},
      {{{16, kNaN}}, "no power on L3; \"phases\": 1", "no power on L3"},
      {{{0, 0x43c8}}, "about 400 V on L1 cannot be: the \"type\" may be wrong", ""},
      {{{4, 0x42c8}}, "about 100 V on L3", ""},
      {{{4, 0x447a}}, "about 1000 V on L3", "about 1000 V on L3"},
      {{{4, 0xc366}}, "about -200 V on L3", "about -200 V on L3"},
      {{{2, 0}, {3, 0}, {8, 0}, {9, 0}, {14, 0}, {15, 0}}, "", ""},  // two phases only
      {{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {12, 0}, {13, 0}, {14, 0}, {15, 0}, {16, 0}},
       "no phase has a voltage",
       ""},
      {{{8, 0x447a}}, "about 1000 A on L2 cannot be", "about 1000 A on L2 cannot be"},
      {{{12, 0x457a}}, "about 4000 W on L1, with its voltage and current, cannot be", ""},
      {{{12, 0x44fa}}, "", ""},  // 2002 W: something was switched on just now
      {{{12, 0x4a80}}, "about 4e+06 W on L1 cannot be", "about 4e+06 W"},
  };
  const auto& map = FindModbusMeterModel("eastron_sdm630")->map;
  const CModbusDecoder decoder(map, 3, false);
  for (const SCase& each : cases) {
    Image image = ImageOf(VectorOf("eastron_sdm630"));
    for (const auto& [address, word] : each.changed) image[address] = word;
    EXPECT_THAT(Why(Decode(image, decoder)), HasSubstr(each.first));
    EXPECT_THAT(Why(Decode(image, decoder, EScrutiny::Loose)), HasSubstr(each.later));
    EXPECT_EQ(Why(Decode(image, decoder)).empty(), *each.first == '\0') << each.first;
    EXPECT_EQ(Why(Decode(image, decoder, EScrutiny::Loose)).empty(), *each.later == '\0') << each.later;
  }
  Image image = ImageOf(VectorOf("eastron_sdm630"));
  image[8] = kNaN;
  EXPECT_EQ(std::get<SMeterReading>(Decode(image, CModbusDecoder(map, 1, true))),
            (SMeterReading{.current = {{-6010}}, .voltage = {{231}}, .activePower = {{-1381}}}));
  image = ImageOf(VectorOf("eastron_sdm630"));
  image[12] = image[13] = 0;
  EXPECT_EQ(std::get<SMeterReading>(Decode(image, CModbusDecoder(map, 3, true))).current,
            (ThreePhaseValue{6010, 2350, -9820}));
}

TEST(SunSpecTest, ListsAreWalkedWhateverTheyHold) {
  struct SCase {
    Image image;
    const char* reason;  // empty: a meter was found
  };
  const Image mark{{0, 0x5375}, {1, 0x6e53}};
  const auto list = [&mark](Image rest) {
    rest.insert(mark.begin(), mark.end());
    return rest;
  };
  Image endless = mark;
  for (std::uint32_t i = 2; i < 1000; ++i) endless[i] = 0;
  const SCase cases[] = {
      {{}, "no SunSpec list is there: Illegal data address"},
      {{{0, 1}, {1, 2}}, "no SunSpec list is there"},
      {{{39999, 0x5375}, {40000, 0x6e53}, {40001, 203}, {40002, 105}}, ""},
      {{{40001, 0x5375}, {40002, 0x6e53}, {40003, 204}, {40004, 21}}, ""},
      {{{50000, 0x5375}, {50001, 0x6e53}, {50002, 201}, {50003, 105}}, ""},
      {list({{2, 1}, {3, 4}, {8, 202}, {9, 105}}), ""},
      {mark, "the SunSpec list breaks off at 2: Illegal data address"},
      {list({{2, 1}, {3, 65535}}), "the SunSpec list breaks off at 65539: there are no more registers"},
      {list({{2, 203}, {3, 20}}), "the SunSpec model 203 at 2 has the length 20"},
      {list({{2, 203}, {3, 65533}}), "the SunSpec model 203 at 2 has the length 65533"},
      {list({{2, 1}, {3, 0}, {4, 213}, {5, 124}, {130, 65535}, {131, 0}}),
       "the SunSpec list has no model 201 to 204, only: 1, 213"},
      {endless, "the SunSpec list has no model 201 to 204, only: 0, 0, "},
  };
  for (const SCase& each : cases) {
    SModbusMap map;
    const SModbusResult result = Search(each.image, ESunSpec::Integers, map);
    EXPECT_EQ(result.kind == SModbusResult::EKind::Ok, *each.reason == '\0') << result.reason;
    EXPECT_THAT(result.reason, HasSubstr(each.reason));
  }

  CVirtualScheduler scheduler;
  int requests = 0;
  SModbusMap map;
  const SModbusResult slow =
      CSunSpecSearch(scheduler, [&](std::uint16_t address, std::span<std::uint16_t> registers) {
        ++requests;
        scheduler.RunFor(Milliseconds{900});
        return ReadImage(endless, address, registers);
      }).Find(ESunSpec::Floats, map);
  EXPECT_EQ(requests, 3);
  EXPECT_FALSE(slow);
}

TEST(SunSpecTest, PowerOfPhasesMayBeMissingButNotTheirCurrents) {
  const Image whole = ImageOf(VectorOf("sunspec_203"));
  SModbusMap map;
  ASSERT_TRUE(Search(whole, ESunSpec::Integers, map));
  const CModbusDecoder decoder(map, 3, false);
  const auto with = [&](const Image& changed) {
    Image image = whole;
    for (const auto& [address, word] : changed) image[address] = word;
    return Decode(image, decoder);
  };
  constexpr std::uint16_t kNone = 0x8000;
  EXPECT_EQ(std::get<SMeterReading>(with({{40089, kNone}, {40090, kNone}, {40091, kNone}})),
            (SMeterReading{{{6010, 2350, 9820}}, {{231, 230, 231}}, {{3100}}}));
  EXPECT_EQ(std::get<SMeterReading>(with({{40073, 61}, {40074, 24}, {40075, 98}, {40076, 65535}})).current,
            (ThreePhaseValue{6100, -2400, 9800}))
      << "another power of ten";
  EXPECT_THAT(Why(with({{40090, kNone}})), HasSubstr("no power on L2"));
  EXPECT_THAT(Why(with({{40074, kNone}})), HasSubstr("no current on L2"));
  EXPECT_THAT(Why(with({{40076, kNone}})), HasSubstr("no current on L1"));
  EXPECT_THAT(Why(with({{40085, 11}})), HasSubstr("no voltage on L1"));
}

TEST(ModbusMeterParametersTest, EachParameterIsCheckedAndNamed) {
  struct SCase {
    EModbusConnectionKind kind;
    const char* parameters;
    const char* expected;  // what is wrong, or the label
  };
  const SCase cases[] = {
      {kTcp, R"({"type":"janitza_umg","address":"meter.lan"})",
       "Modbus meter janitza_umg at meter.lan:502, unit 1"},
      {kTcp, R"({"TYPE":"Siemens_PAC2200","Address":"10.0.0.7:1502"})",
       "siemens_pac2200 at 10.0.0.7:1502, unit 126"},
      {kTcp, R"({"type":"janitza_umg","address":"fe80::1","port":"503","unitid":"71"})",
       " at [fe80::1]:503, unit 71"},
      {kTcp, R"({"type":"janitza_umg","address":"[fe80::1]:504","unitId":255})",
       " at [fe80::1]:504, unit 255"},
      {kTcp, R"({"type":"janitza_umg","address":"h:504","port":504})", " at h:504, unit 1"},
      {kTcp, R"({"type":"janitza_umg","address":"h:504","port":502})",
       "\"port\" is 502, allowed is that of \"address\""},
      {kTcp, R"({"type":"janitza_umg"})", "parameter \"address\" is null, allowed is a host's name"},
      {kTcp, R"({"type":"janitza_umg","address":"a b"})", "parameter \"address\" is \"a b\""},
      {kTcp, R"({"type":"janitza_umg","address":"h:0"})", "parameter \"address\" is \"h:0\""},
      {kTcp, R"({"type":"janitza_umg","address":"[::1"})", "parameter \"address\" is \"[::1\""},
      {kTcp, R"({"type":"janitza_umg","address":["h"]})",
       "parameter \"address\" is [\"h\"], allowed is a text"},
      {kTcp, R"({"type":"janitza_umg","address":"h","port":65536})",
       "parameter \"port\" is 65536, allowed is 1 to 65535"},
      {kTcp, R"({"type":"janitza_umg","address":"h","unitId":-1})",
       "\"unitId\" is -1, allowed is 0 to 247 or 255"},
      {kTcp, R"({"type":"janitza_umg","address":"h","unitId":1.5})", "\"unitId\" is 1.5"},
      {kTcp, R"({"type":"janitza_umg","address":"h","phases":2})", "\"phases\" is 2, allowed is 1 or 3"},
      {kTcp, R"({"type":"janitza_umg","address":"h","invert":"maybe"})",
       "\"invert\" is \"maybe\", allowed is true or false"},
      {kTcp, R"({"type":"eastron_sdm630"})",
       "parameter \"type\" is \"eastron_sdm630\", allowed is one of cg_em24_e1, finder_7e78, janitza_umg, "
       "kostal_ksem, phoenix_ma370, siemens_pac2200, sunspec_203, sunspec_213"},
      {kTcp, "[]", "parameter \"type\" is null"},
      {kRtu, R"({"type":"eastron_sdm120"})",
       "Modbus meter eastron_sdm120 on /dev/line 2400 N 1 fixed, unit 1"},
      {kRtu, R"({"type":"inepro_pro380","unitId":247,"device":null})",
       " on /dev/line 9600 E 1 fixed, unit 247"},
      {kRtu,
       R"({"type":"abb_b23","device":"/dev/ttyUSB0","baudRate":"19200","parity":"ODD","stopBits":2,"invert":"True"})",
       " on /dev/ttyUSB0 19200 O 2 auto, unit 1, inverted"},
      {kRtu, R"({"type":"eastron_sdm120","phases":3})", "\"phases\" is 3, allowed is 1 for this type"},
      {kRtu, R"({"type":"abb_b23","unitId":0})", "\"unitId\" is 0, allowed is 1 to 247"},
      {kRtu, R"({"type":"abb_b23","device":"ttyUSB0"})",
       "\"device\" is \"ttyUSB0\", allowed is the whole path"},
      {kRtu, R"({"type":"abb_b23","baudRate":9601})", "\"baudRate\" is 9601, allowed is one of 1200, 2400, "},
      {kRtu, R"({"type":"abb_b23","parity":"M"})", "\"parity\" is \"M\", allowed is none, even or odd"},
      {kRtu, R"({"type":"abb_b23","stopBits":3})", "\"stopBits\" is 3, allowed is 1 or 2"},
      {kRtu, R"({"type":"no such"})",
       "parameter \"type\" is \"no such\", allowed is one of abb_b21, abb_b23, "},
  };
  for (const SCase& each : cases) {
    Json::Value json;
    if (*each.parameters == '{') {
      ASSERT_EQ(JsonText::ParseObject(each.parameters, json), "");
    }
    const auto parsed = ModbusMeterParameters::Parse(each.kind, json, {.device = "/dev/line"});
    std::string text = std::holds_alternative<std::string>(parsed) ? std::get<std::string>(parsed) : "";
    if (const auto* parameters = std::get_if<SModbusMeterParameters>(&parsed)) {
      text = parameters->Label();
      const auto& line = parameters->line;
      if (each.kind == kRtu) {
        text.insert(text.find(','), fmt::format(" {} {} {} {}", line.baud, static_cast<char>(line.parity),
                                                line.stopBits, line.autoDirection ? "auto" : "fixed"));
      }
      if (parameters->isInverted) text += ", inverted";
    }
    EXPECT_THAT(text, HasSubstr(each.expected)) << each.parameters;
  }
}

}  // namespace
