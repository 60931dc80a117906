#include "tools/currentcontrolctl/p1report.h"

#include <algorithm>

#include <fmt/format.h>

#include "src/components/measurementsources/p1output.h"
#include "tools/currentcontrolctl/meterreport.h"

namespace {

using P1::EField;

std::string ObisText(const P1::ObisId& id) {
  return fmt::format("{}-{}:{}.{}.{}", id[0], id[1], id[2], id[3], id[4]);
}

std::string ValueText(const P1::CRecord& record, std::size_t field) {
  const auto thousandths = record.Thousandths(static_cast<EField>(field));
  if (P1::kFields[field].unit == P1::EUnit::None) return std::string(record.Version());
  return fmt::format("{}.{:03} {}", *thousandths / 1000, *thousandths % 1000,
                     P1::ToText(P1::kFields[field].unit));
}

template <class TDo>
void ForEachPresent(const P1::CRecord& record, TDo act) {
  for (std::size_t field = 0; field < P1::kFieldCount; ++field) {
    if (record.Has(static_cast<EField>(field))) act(field);
  }
}

std::size_t Skipped(const P1::CRecord& record, std::size_t lines) {
  ForEachPresent(record, [&lines](std::size_t) { --lines; });
  return lines;
}

std::string MissingText(const SMeterReading& reading) {
  std::string text;
  if (!reading.current) {
    text +=
        "no currents: a phase needs its power in both directions, and its voltage or current, in the "
        "telegram\n";
  }
  if (!reading.activePower) {
    text += fmt::format("no total power: {} and {} are needed\n",
                        ObisText(P1::kFields[static_cast<std::size_t>(EField::PowerDelivered)].id),
                        ObisText(P1::kFields[static_cast<std::size_t>(EField::PowerReturned)].id));
  }
  return text;
}

}  // namespace

std::string FormatP1Record(const P1::CRecord& record, std::size_t lines) {
  std::string text;
  ForEachPresent(record, [&](std::size_t field) {
    text += fmt::format("  {:<20}{:<14}{:>14}\n", P1::kFields[field].name, ObisText(P1::kFields[field].id),
                        ValueText(record, field));
  });
  const SMeterReading reading = P1::ToOutput(record);
  text += fmt::format(
      "  {} other line{} skipped\nwhat the service makes of it (currents are negative where "
      "a phase feeds in):\n",
      Skipped(record, lines), Skipped(record, lines) == 1 ? "" : "s");
  return text + FormatReading(reading) + MissingText(reading);
}

Json::Value P1RecordToJson(const P1::CRecord& record, std::size_t lines) {
  Json::Value json;
  json["fields"] = Json::objectValue;
  ForEachPresent(record, [&](std::size_t field) {
    const P1::SField& known = P1::kFields[field];
    Json::Value& value = json["fields"][std::string(known.name)];
    value["obis"] = ObisText(known.id);
    if (known.unit == P1::EUnit::None) {
      value["value"] = std::string(record.Version());
    } else {
      value["thousandths"] = *record.Thousandths(static_cast<EField>(field));
      value["unit"] = std::string(P1::ToText(known.unit));
    }
  });
  json["skipped_lines"] = Json::UInt64{Skipped(record, lines)};
  json["reading"] = ReadingToJson(P1::ToOutput(record));
  return json;
}

std::size_t CountP1Lines(std::string_view telegram) {
  std::size_t lines = 0;
  char previous = '\n';
  for (const char character : telegram.substr(0, telegram.find('!'))) {
    const auto isEnd = [](char c) { return c == '\r' || c == '\n'; };
    if (isEnd(previous) && !isEnd(character)) ++lines;
    previous = character;
  }
  return lines > 0 ? lines - 1 : 0;  // the first one is the header
}
