#include "src/components/measurementsources/p1telegram.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "support/p1text.h"

namespace {

using P1::EUnknownFields;

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

TEST(P1Telegram, SaysWhatIsWrongWithALineAndWhere) {
  constexpr SFailing kLines[] = {
      {"1-3:0.2.8(50)^x", "Trailing characters on data line"},
      {"1-0:21.7.0(1*kW)^(2*kW)", "Trailing characters on data line"},
      {"1-0:21.7.0(1*kW)\r\n\r\n1-0:21.7.0^(2*kW)", "Duplicate field"},
      {"1-3:0.2.8(50)\n1-3:0.2.8.255^(50)", "Duplicate field"},
      {"^(00124.477)", "OBIS id Empty"},
      {"1-0:25^6.7.0(1)", "Obis ID has number over 255"},
      {"1-0:21.7.0^", "Missing ("},
      {"1-0:21.7.0.255^*kW", "Missing ("},
      {"1-3:0.2.8^[50)", "Missing ("},
      {"1-3:0.2.8(50^", "Missing"},
      {"1-3:0.2.8(5^)", "Invalid string length"},
      {"1-3:0.2.8(500^)", "Invalid string length"},
      {"1-0:21.7.0(^-1.0*kW)", "Invalid number"},
      {"1-0:31.7.0(6^E2*A)", "Invalid number"},
      {"1-0:21.7.0(00.1^.2*kW)", "Invalid number"},
      {"1-0:21.7.0(2147483.64^8*kW)", "Invalid number"},
      {"1-0:21.7.0(2147484^*kW)", "Invalid number"},
      {"1-0:21.7.0(0000214748364^8*kW)", "Invalid number"},
      {"1-0:21.7.0(00.123^4*kW)", "Missing unit"},
      {"1-0:21.7.0(00.123^)", "Missing unit"},
      {"1-0:21.7.0(00^", "Missing unit"},
      {"1-0:21.7.0(00.123*^KW)", "Invalid unit"},
      {"1-0:21.7.0(00.123*k^)", "Invalid unit"},
      {"1-0:21.7.0(00.123*^", "Invalid unit"},
      {"1-0:21.7.0(00.123*kW^h)", "Extra data"},
      {"1-0:21.7.0(00.123*kW^", "Extra data"},
  };
  for (const SFailing& line : kLines) ExpectFailure(line, Telegram, kFirstLine);
  ExpectFailure({"1-0:21.7.0(1*kW)\r\n0-1:24.2.1^(5*m3)", "Unknown field"}, Telegram, kFirstLine,
                EUnknownFields::AreErrors);
}

TEST(P1Telegram, SaysWhatIsWrongWithItsFrameAndWhere) {
  constexpr SFailing kTelegrams[] = {
      {"^", "Data should start with /"},
      {"^ /X\r\n!0000", "Data should start with /"},
      {"/X\r\n1-0:1.7.0(1*kW)\r\n^", "No checksum found"},
      {"/X\r\n!12\r^", "No checksum found"},
      {"/X\r\n!^\r\n12", "Incomplete or malformed checksum"},
      {"/X\r\n!12^G4", "Incomplete or malformed checksum"},
      {"/X\r\n!^!123", "Incomplete or malformed checksum"},
      {"/X\r\n!^1234\r\n", "Checksum mismatch"},
  };
  for (const SFailing& telegram : kTelegrams) ExpectFailure(telegram, [](auto text) { return text; });
  ExpectFailure({"/X\r\n1-0:1.7.0(1*kW)^!", "Last dataline not CRLF terminated"}, Sealed);
  ExpectFailure({"/X^!", "Last dataline not CRLF terminated"}, Sealed);
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

}  // namespace
