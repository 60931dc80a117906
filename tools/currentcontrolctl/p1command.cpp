#include "tools/currentcontrolctl/p1command.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "platform/utility/text.h"
#include "src/components/measurementsources/p1telegram.h"
#include "tools/currentcontrolctl/p1fault.h"
#include "tools/currentcontrolctl/p1recording.h"
#include "tools/currentcontrolctl/p1report.h"

namespace {

/// Why it cannot be read; empty: it is there.
std::string ReadRecording(CSession& session, std::string& text) {
  if (session.Word(1) == "-") {
    text.assign(std::istreambuf_iterator<char>(session.In()), {});
    return {};
  }
  const SFileError error = session.Files().Read(session.Word(1), text);
  if (error.kind == SFileError::EKind::TooLarge)
    return "more than 1 MiB: give it on the standard input, as -";
  return error ? error.reason : std::string();
}

struct SDecoded {
  SP1Recording::STelegram telegram;
  P1::CRecord record;
  std::optional<SP1Fault> fault;  ///< none: it is good
};

std::vector<SDecoded> Decode(std::string_view text, const SP1Recording& recording) {
  std::vector<SDecoded> decoded;
  for (const SP1Recording::STelegram& telegram : recording.telegrams) {
    SDecoded& one = decoded.emplace_back(SDecoded{telegram, {}, {}});
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(telegram.text.data());
    const P1::SResult result =
        P1::ParseTelegram(std::span(bytes, telegram.text.size()), P1::EUnknownFields::Ignored, one.record);
    if (result.failure != P1::EFailure::None) one.fault = ExplainP1Fault(text, telegram, result);
  }
  return decoded;
}

std::string Format(const SDecoded& decoded) {
  const std::string_view header =
      decoded.telegram.text.substr(0, std::min<std::size_t>(decoded.telegram.text.find_first_of("\r\n"), 40));
  const std::string title =
      fmt::format("telegram at byte {}, {}: ", decoded.telegram.offset, Text::InOneLine(header));
  if (decoded.fault) return title + FormatP1Fault(*decoded.fault);
  return title + "good\n" + FormatP1Record(decoded.record, CountP1Lines(decoded.telegram.text));
}

Json::Value ToJson(const SDecoded& decoded) {
  Json::Value json = decoded.fault ? P1FaultToJson(*decoded.fault)
                                   : P1RecordToJson(decoded.record, CountP1Lines(decoded.telegram.text));
  json["telegram_at"] = Json::UInt64{decoded.telegram.offset};
  json["good"] = !decoded.fault;
  return json;
}

}  // namespace

EExit P1Telegrams(CSession& session) {
  std::string text;
  const std::string reason = ReadRecording(session, text);
  if (!reason.empty())
    return session.Fail(EExit::Usage, fmt::format("cannot read {}: {}", session.Word(1), reason));
  const SP1Recording recording = CutP1Recording(text);
  const auto decoded = Decode(text, recording);
  const auto good = std::ranges::count_if(decoded, [](const SDecoded& one) { return !one.fault; });
  Json::Value json;
  std::string report;
  for (const SDecoded& one : decoded) {
    if (session.IsJson()) {
      json["telegrams"].append(ToJson(one));
    } else {
      report += Format(one);
    }
  }
  json["bytes_between"] = Json::UInt64{recording.between};
  if (decoded.size() > 1 || recording.between > 0) {
    report += fmt::format("{} of {} telegrams good; {} bytes between them skipped\n", good, decoded.size(),
                          recording.between);
  }
  session.Answer(json, std::string_view(report).substr(0, report.find_last_not_of('\n') + 1));
  return static_cast<std::size_t>(good) == decoded.size() ? EExit::Success : EExit::Refused;
}
