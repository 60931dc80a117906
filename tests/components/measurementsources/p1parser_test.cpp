#include "src/components/measurementsources/p1parser.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "simulation/memoryfiles.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "support/diagnosticsrecord.h"
#include "support/p1text.h"

namespace {

using P1::EUnknownFields;
using ::testing::ElementsAre;
using Value = std::optional<ThreePhaseValue>;
constexpr auto kNoPower = "No active power data available from smart meter P1 port.";

struct SFailing {
  std::string_view marked;  ///< with a '^' where parsing stops
  std::string_view failure;
};

/// Parses what `complete` makes of the text without its mark, and expects it to stop there.
void ExpectFailure(const SFailing& failing, const auto& complete, std::size_t begin = 0,
                   EUnknownFields unknownFields = EUnknownFields::Ignored) {
  std::string text(failing.marked);
  const std::size_t mark = text.find('^');
  text.erase(mark, 1);
  P1::CRecord record;
  const P1::SResult result = P1::ParseTelegram(Bytes(complete(text)), unknownFields, record);
  EXPECT_EQ(P1::ToText(result.failure), failing.failure) << failing.marked;
  EXPECT_EQ(result.position, begin + mark) << failing.marked;
}

constexpr std::size_t kFirstLine = 6;

TEST(P1Telegram, SaysWhatIsWrongAndWhere) {
  constexpr SFailing kLines[] = {
      {"1-3:0.2.8(50)^x", "Trailing characters on data line"},
      {"1-0:21.7.0(1*kW)\r\n\r\n1-0:21.7.0^(2*kW)", "Duplicate field"},
      {"1-3:0.2.8(50)\n1-3:0.2.8.255^(50)", "Duplicate field"},
      {"^(00124.477)", "OBIS id Empty"},
      {"1-0:25^6.7.0(1)", "Obis ID has number over 255"},
      {"1-0:21.7.0^", "Missing ("},
      {"1-3:0.2.8(50^", "Missing"},
      {"1-3:0.2.8(500^)", "Invalid string length"},
      {"1-0:21.7.0(^-1.0*kW)", "Invalid number"},
      {"1-0:31.7.0(6^E2*A)", "Invalid number"},
      {"1-0:21.7.0(00.1^.2*kW)", "Invalid number"},
      {"1-0:21.7.0(2147483.64^8*kW)", "Invalid number"},
      {"1-0:21.7.0(2147484^*kW)", "Invalid number"},
      {"1-0:21.7.0(0000214748364^8*kW)", "Invalid number"},
      {"1-0:21.7.0(00.123^4*kW)", "Missing unit"},
      {"1-0:21.7.0(00.123*^KW)", "Invalid unit"},
      {"1-0:21.7.0(00.123*kW^h)", "Extra data"},
  };
  for (const SFailing& line : kLines) ExpectFailure(line, Telegram, kFirstLine);
  ExpectFailure({"1-0:21.7.0(1*kW)\r\n0-1:24.2.1^(5*m3)", "Unknown field"}, Telegram, kFirstLine,
                EUnknownFields::AreErrors);

  constexpr SFailing kTelegrams[] = {
      {"^", "Data should start with /"},
      {"/X\r\n1-0:1.7.0(1*kW)\r\n^", "No checksum found"},
      {"/X\r\n!12^G4", "Incomplete or malformed checksum"},
      {"/X\r\n!^!123", "Incomplete or malformed checksum"},
      {"/X\r\n!^1234\r\n", "Checksum mismatch"},
  };
  for (const SFailing& telegram : kTelegrams) ExpectFailure(telegram, [](auto text) { return text; });
  ExpectFailure({"/X\r\n1-0:1.7.0(1*kW)^!", "Last dataline not CRLF terminated"}, Sealed);
}

TEST(P1Telegram, TakesWhatMetersMayWrite) {
  const std::string telegram = Sealed(
      "/X\n\n1-0:21.7.0(00.123*kW)\n1-0:32.7.0.255(230.1*V)\r\n\r\n0-1:24.2.1(1)(2*m3)\n"
      "1-0:99:97.0(x)\n1-0:51.7.0(*A)\n1-0:71.7.0(2147483.647*A)\n!");
  P1::CRecord record;
  const P1::SResult parsed = P1::ParseTelegram(Bytes(telegram + "\r\nmore"), EUnknownFields::Ignored, record);
  EXPECT_EQ(parsed, (P1::SResult{P1::EFailure::None, telegram.size()}));
  EXPECT_EQ(record.Thousandths(P1::EField::PowerDeliveredL1), 123);
  EXPECT_EQ(record.Thousandths(P1::EField::VoltageL1), 230100);
  EXPECT_EQ(record.Thousandths(P1::EField::CurrentL1), std::nullopt);
  EXPECT_EQ(record.Thousandths(P1::EField::CurrentL2), 0);
  EXPECT_EQ(record.Thousandths(P1::EField::CurrentL3), 2147483647);

  // The checksum is one from a calculation bit by bit.
  EXPECT_EQ(P1::ParseTelegram(Bytes("/P\r\n!bd93"), EUnknownFields::AreErrors, record).failure,
            P1::EFailure::None);
  EXPECT_FALSE(record.Has(P1::EField::CurrentL2)) << "of the telegram before";
}

struct SExpected {
  std::string_view text;  ///< lines, or a file's name
  Value current;
  Value voltage;
  Value power;
  std::string_view failure = "";
};

class P1ParserTest : public ::testing::Test {
 protected:
  void Expect(const SExpected& expected, std::string_view telegram) {
    const SP1Output output = Parse(telegram);
    EXPECT_EQ(output.current, expected.current) << expected.text;
    EXPECT_EQ(output.voltage, expected.voltage) << expected.text;
    EXPECT_EQ(output.activePower, expected.power) << expected.text;
    EXPECT_EQ(output.success, expected.failure.empty()) << expected.text;
  }
  SP1Output Parse(std::string_view text) {
    const auto bytes = Bytes(text);
    return mParser->Parse(bytes.data(), bytes.size());
  }
  std::vector<std::string> Errors() const { return mLog.Texts(Log::ELogLevel::Error); }
  std::string Dump() {
    mParser->DumpLastReceivedData();
    return mFiles.Content("/log/p1.log").value_or("none");
  }

  CLogCapture mLog{Log::ELogLevel::Debug};
  CVirtualScheduler mScheduler;
  CDiagnosticsRecord mDiagnostics{mScheduler};
  CMemoryFiles mFiles;
  std::optional<CP1Parser> mParser{std::in_place, mFiles, "/log/p1.log",
                                   mDiagnostics.Signal(DiagnosticsSignals::kP1Version)};
};

TEST_F(P1ParserTest, DerivesWhatThePhasesCarry) {
  constexpr ThreePhaseValue kNone{};
  const SExpected kLines[] = {
      {"1-0:21.7.0(1.5*kW)\r\n1-0:22.7.0(0*kW)\r\n1-0:32.7.0(230.0*V)", {{6521, 0, 0}}, {{230, 0, 0}}, {}},
      {"1-0:41.7.0(0*kW)\r\n1-0:42.7.0(1.5*kW)\r\n1-0:51.7.0(6.5*A)", {{0, -6500, 0}}, {}, {}},
      {"1-0:61.7.0(1*kW)\r\n1-0:62.7.0(1*kW)\r\n1-0:71.7.0(6.5*A)", {{0, 0, 6500}}, {}, {}},
      {"1-0:61.7.0(1*kW)\r\n1-0:62.7.0(0*kW)\r\n1-0:72.7.0(0.0*V)", {}, kNone, {}},
      // No neutral: the second phase has current, but neither voltage nor power.
      {"1-0:21.7.0(0.5*kW)\r\n1-0:22.7.0(0*kW)\r\n1-0:32.7.0(229.499*V)\r\n1-0:31.7.0(9*A)\r\n"
       "1-0:41.7.0(0*kW)\r\n1-0:42.7.0(0*kW)\r\n1-0:52.7.0(000.0*V)\r\n1-0:51.7.0(001.66*A)",
       {{2178, 1660, 0}},
       {{229, 0, 0}},
       {}},
      {"1-0:21.7.0(2147483.647*kW)\r\n1-0:22.7.0(0*kW)\r\n1-0:32.7.0(0.001*V)\r\n"
       "1-0:41.7.0(0*kW)\r\n1-0:42.7.0(2147483.647*kW)\r\n1-0:52.7.0(0.5*V)\r\n"
       "1-0:72.7.0(2147483.647*V)\r\n1-0:1.7.0(0.1*kW)\r\n1-0:2.7.0(2147483.647*kW)",
       {{2147483647, -2147483648, 0}},
       {{0, 1, 2147484}},
       {{-2147483547, 0, 0}}},
  };
  for (const SExpected& expected : kLines) Expect(expected, Telegram(expected.text));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Warning), ElementsAre(kNoPower)) << "five did";
}

TEST_F(P1ParserTest, ReadsTelegramsOfRealMeters) {
  const char* const named = std::getenv("P1_TELEGRAMS");
  const std::filesystem::path folder = named != nullptr ? named : P1_TELEGRAMS;
  if (!std::filesystem::is_directory(folder)) {
    GTEST_SKIP() << "real telegrams are not tested: P1_TELEGRAMS names no folder: " << folder;
  }
  const SExpected kFiles[] = {
      {"dsmr22_isk5_mt382_1004", {}, {}, {}, "No checksum found"},
      {"dsmr40_xmx_1ph_real", {}, {}, {{0, 0, 0}}},
      {"dsmr42_kfm5_3ph_export", {{-3000, -3000, -2000}}, {}, {{-1869, 0, 0}}},
      {"dsmr502_spec_example.recomputed", {{-15143, -15136, -15129}}, {{220, 220, 220}}, {{1193, 0, 0}}},
      {"dsmr5_isk5_3ph_wide_fields", {{304, 139, 620}}, {{230, 230, 229}}, {{244, 0, 0}}},
      {"emucs_flu5_3ph_real", {{201, 784, 486}}, {{233, 228, 228}}, {{338, 0, 0}}},
      {"esmr5_isk5_1ph_real", {{817, 0, 0}}, {{236, 0, 0}}, {{193, 0, 0}}},
      {"esmr5_isk5_3ph_export_L1", {{-2864, 141, 561}}, {{236, 233, 235}}, {{-498, 0, 0}}},
  };
  for (const SExpected& expected : kFiles) {
    std::ifstream file(folder / (std::string(expected.text) + ".txt"), std::ios::binary);
    ASSERT_TRUE(file) << expected.text;
    Expect(expected, std::string(std::istreambuf_iterator<char>(file), {}));
  }
  EXPECT_THAT(Errors(), ElementsAre("No checksum found"));
}

TEST_F(P1ParserTest, TellsEachFaultOnceUntilTheLineIsGoodForAWhile) {
  const std::string good = Telegram("1-0:1.7.0(1*kW)\r\n1-0:2.7.0(0*kW)");
  for (int time = 0; time < 3; ++time) {
    Parse("noise");
    Parse("/noise");
    for (int telegram = 0; telegram < 59; ++telegram) Parse(good);
  }
  EXPECT_THAT(Errors(), ElementsAre("Data should start with /", "No checksum found"));
  EXPECT_EQ(mLog.Count("No checksum found"), 3) << "all of them, for debugging";
  Parse(good);
  Parse("/noise");
  EXPECT_EQ(Errors().size(), 3U);
}

TEST_F(P1ParserTest, ReportsTheVersionAndDumpsWhatWasThere) {
  EXPECT_EQ(Dump(), "");
  Parse(
      Telegram("1-0:2.7.0(00.000*kW)\r\n1-0:1.7.0(01.193*kW)\r\n1-0:72.7.0(230.10*V)\r\n"
               "1-0:51.7.0(002*A)\r\n1-0:22.7.0(0012.345*kW)\r\n1-3:0.2.8(50)"));
  EXPECT_THAT(mDiagnostics.Take()[30300], ElementsAre("50"));
  EXPECT_EQ(Dump(),
            "p1_version: 50\npower_returned_l1: 12.345kW\ncurrent_l2: 2A\nvoltage_l3: 230.1V\n"
            "power_delivered: 1.193kW\npower_returned: 0kW\n");
  EXPECT_EQ(mLog.Count("Dumping last received P1extender P1 data in /log/p1.log"), 2);
  Parse(Telegram("1-0:51.7.0(002*A)\r\n1-3:0.2.8(5)"));
  EXPECT_EQ(Dump(), "current_l2: 2A\n") << "what stood before the fault";
  mFiles.FailReplacements("No space left on device");
  Dump();
  EXPECT_THAT(Errors(), ElementsAre("Invalid string length", "Failed to open /log/p1.log for writing."));
  mParser.reset();
  EXPECT_THAT(mDiagnostics.Take()[30300], ElementsAre("Unknown"));
}

}  // namespace
