#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "fuzz/checks.h"
#include "fuzz/require.h"
#include "platform/utility/crc16.h"
#include "src/components/measurementsources/p1output.h"
#include "src/components/measurementsources/p1telegram.h"

namespace Checks {
namespace {

using P1::EFailure;
using P1::EUnknownFields;

void CheckOutput(const P1::CRecord& record) {
  const SP1Output output = P1::ToOutput(record);
  Require(output.success, "a good telegram is a success");
  Require(output.activePower.has_value() ==
              (record.Has(P1::EField::PowerDelivered) && record.Has(P1::EField::PowerReturned)),
          "power is known when both directions are");
  for (std::size_t phase = 0; phase < 3; ++phase) {
    const auto milliVolt = record.Thousandths(P1::OfPhase(P1::EField::VoltageL1, phase));
    if (!milliVolt) continue;
    Require(output.voltage && std::abs(std::int64_t{(*output.voltage)[phase]} * 1000 - *milliVolt) <= 500,
            "a voltage is the nearest whole volt");
  }
}

P1::SResult Parse(std::span<const std::uint8_t> telegram, EUnknownFields unknownFields) {
  P1::CRecord record;
  const P1::SResult result = P1::ParseTelegram(telegram, unknownFields, record);
  Require(result.position <= telegram.size(), "parsing stops within the telegram");
  Require(P1::ToText(result.failure).empty() == (result.failure == EFailure::None),
          "each failure has a text");
  if (result.failure == EFailure::None) CheckOutput(record);
  return result;
}

void ParseEitherWay(std::span<const std::uint8_t> telegram) {
  const P1::SResult lenient = Parse(telegram, EUnknownFields::Ignored);
  const P1::SResult strict = Parse(telegram, EUnknownFields::AreErrors);
  Require(lenient.failure != EFailure::UnknownField,
          "fields that nobody claims are no error unless asked for");
  Require(strict == lenient || strict.failure == EFailure::UnknownField, "and are all that is asked for");
}

}  // namespace

void P1Parser(std::span<const std::uint8_t> input) {
  ParseEitherWay(input);

  // Hardly any input has its checksum right, and lines are only looked at where it is.
  constexpr std::string_view kHeader = "/X\r\n";
  std::vector<std::uint8_t> sealed(kHeader.begin(), kHeader.end());
  std::ranges::copy_if(input, std::back_inserter(sealed), [](std::uint8_t byte) { return byte != '!'; });
  sealed.push_back('!');
  fmt::format_to(std::back_inserter(sealed), "{:04x}", Crc16(sealed));
  ParseEitherWay(sealed);
}

}  // namespace Checks
