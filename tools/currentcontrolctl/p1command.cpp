#include "tools/currentcontrolctl/p1command.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "platform/utility/text.h"
#include "src/components/measurementsources/p1framing.h"
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

/// What is told of a recording. A bad line makes as many bad telegrams as it has slashes: the first ones say
/// enough.
class CReport {
 public:
  CReport(const CSession& session, std::string_view recording)
      : mIsJson(session.IsJson()), mRecording(recording) {}

  void Take(const SP1Recording::STelegram& telegram) {
    P1::CRecord record;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(telegram.text.data());
    const P1::SResult result =
        P1::ParseTelegram(std::span(bytes, telegram.text.size()), P1::EUnknownFields::Ignored, record);
    if (result.failure == P1::EFailure::None) {
      ++mGood;
      TellGood(telegram, record);
    } else if (++mBad <= kMostBad) {
      TellBad(telegram, result);
    }
  }

  EExit Answer(CSession& session, std::size_t between) {
    mJson["bytes_between"] = Json::UInt64{between};
    mJson["bad_left_out"] = Json::UInt64{LeftOut()};
    if (LeftOut() > 0) mText += fmt::format("{} more bad telegrams are not shown\n", LeftOut());
    if (mGood + mBad > 1 || between > 0) {
      mText += fmt::format("{} of {} telegrams good; {} bytes between them skipped\n", mGood, mGood + mBad,
                           between);
    }
    session.Answer(mJson, std::string_view(mText).substr(0, mText.find_last_not_of('\n') + 1));
    return mBad == 0 ? EExit::Success : EExit::Refused;
  }

 private:
  static constexpr std::size_t kMostBad = 100;

  static bool IsTooLong(const SP1Recording::STelegram& telegram) {
    return telegram.text.size() > CP1Framing::kLongestTelegram;
  }
  std::size_t LeftOut() const { return mBad - std::min(mBad, kMostBad); }

  void TellGood(const SP1Recording::STelegram& telegram, const P1::CRecord& record) {
    const std::size_t lines = CountP1Lines(telegram.text);
    if (mIsJson) return Append(telegram, P1RecordToJson(record, lines));
    mText += Title(telegram) + "good\n";
    if (IsTooLong(telegram)) {
      mText += fmt::format("the service drops it all the same: it has more than {} bytes\n",
                           CP1Framing::kLongestTelegram);
    }
    mText += FormatP1Record(record, lines);
  }

  void TellBad(const SP1Recording::STelegram& telegram, const P1::SResult& result) {
    const SP1Fault fault = ExplainP1Fault(mRecording, telegram, result);
    if (mIsJson) return Append(telegram, P1FaultToJson(fault));
    mText += Title(telegram) + FormatP1Fault(fault);
  }

  void Append(const SP1Recording::STelegram& telegram, Json::Value json) {
    json["telegram_at"] = Json::UInt64{telegram.begin.offset};
    json["good"] = !json.isMember("failure");
    json["too_long_for_service"] = IsTooLong(telegram);
    mJson["telegrams"].append(std::move(json));
  }

  static std::string Title(const SP1Recording::STelegram& telegram) {
    const std::string_view start = telegram.text.substr(0, 40);
    return fmt::format("telegram at byte {}, {}: ", telegram.begin.offset,
                       Text::InOneLine(start.substr(0, start.find_first_of("\r\n"))));
  }

  const bool mIsJson;
  const std::string_view mRecording;
  std::size_t mGood = 0;
  std::size_t mBad = 0;
  Json::Value mJson;
  std::string mText;
};

}  // namespace

EExit P1Telegrams(CSession& session) {
  std::string text;
  const std::string reason = ReadRecording(session, text);
  if (!reason.empty())
    return session.Fail(EExit::Usage, fmt::format("cannot read {}: {}", session.Word(1), reason));
  const SP1Recording recording = CutP1Recording(text);
  CReport report(session, text);
  for (const SP1Recording::STelegram& telegram : recording.telegrams) report.Take(telegram);
  return report.Answer(session, recording.between);
}
