#include "tools/currentcontrolctl/limitcommands.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "ipc/currentcontrol.service.h"

#include "platform/worker/worker.h"
#include "src/limitationsources/limitationsource.h"
#include "src/limitationsources/limits.h"
#include "tools/currentcontrolctl/amperes.h"
#include "tools/display/limitstable.h"
#include "tools/display/liveview.h"

namespace {

constexpr std::string_view kService = "CurrentControl";
using Client = ipc::CCurrentControlClient;

Json::Value SourceToJson(ipc::ECurrentControlSource source) {
  Json::Value json;
  json["number"] = static_cast<int>(source);
  json["enumerator"] = std::string(SourceToString(source));
  json["name"] = FormatSource(source);
  return json;
}

Json::Value LimitToJson(ipc::ECurrentControlSource source, std::int32_t milliAmpere, std::int32_t phases) {
  Json::Value json;
  json["source"] = SourceToJson(source);
  json["milliampere"] = milliAmpere;
  json["phases"] = phases;
  return json;
}

Json::Value LimitToJson(const ipc::MCurrentControlLimit& limit) {
  return LimitToJson(limit.source(), limit.limit(), limit.number_of_phases());
}

Json::Value LimitsToJson(const ipc::MCurrentControlLimits& limits) {
  Json::Value json;
  json["limits"] = Json::arrayValue;
  for (const ipc::MStoredLimit& stored : limits.limits()) {
    Json::Value limit = LimitToJson(stored.source(), stored.limit(), stored.number_of_phases());
    limit["unchanged_for_ms"] = Json::Int64{stored.unchanged_for_ms()};
    json["limits"].append(limit);
  }
  json["setpoint"] = LimitToJson(limits.setpoint());
  json["current_source"] = SourceToJson(limits.current_source());
  json["phase_source"] = SourceToJson(limits.phase_source());
  json["runner_up"] = LimitToJson(limits.runner_up());
  return json;
}

std::string_view SetterOf(const SLimitationSource& source) {
  return source.setter == ESetter::Client ? "client" : "service";
}

EExit ShowLimits(CSession& session, CLiveView& view) {
  const auto answer = session.Call(kService, &Client::GetLimits);
  if (!answer.IsOk()) return session.FailToReach(kService, answer.status, answer.detail);
  view.Show(session.IsJson() ? ToCompactText(LimitsToJson(answer.value)) + "\n" : FormatLimits(answer.value));
  return EExit::Success;
}

std::optional<ipc::ECurrentControlSource> SourceFrom(CSession& session) {
  const auto source = ParseSource(session.Word(1));
  if (!source) {
    session.Fail(EExit::Usage, fmt::format("'{}' is no source: give its number, enumerator or display name",
                                           session.Word(1)));
  }
  return source;
}

}  // namespace

EExit Get(CSession& session) {
  const auto answer = session.Call(kService, &Client::GetCurrentLimit);
  if (!answer.IsOk()) return session.FailToReach(kService, answer.status, answer.detail);
  return session.Answer(LimitToJson(answer.value), fmt::format("{} by {}", FormatSetpoint(answer.value),
                                                               FormatSource(answer.value.source())));
}

EExit Limits(CSession& session) {
  CLiveView view(session.Out(), false);
  return ShowLimits(session, view);
}

EExit Watch(CSession& session) {
  constexpr Milliseconds kPeriod{1000};
  EExit last = EExit::Success;
  CLiveView view(session.Out(), session.IsTerminal() && !session.IsJson());
  CWorker worker(session.Scheduler(), "Watch");
  worker.Start();
  // A service that is away may come back: that it is away is told, and watching goes on.
  const CCallHandle watching =
      worker.AddCall([&] { last = ShowLimits(session, view); }, Milliseconds{0}, kPeriod);
  session.Stop().Wait();
  worker.Stop();
  return last;
}

EExit Set(CSession& session) {
  const auto source = SourceFrom(session);
  if (!source) return EExit::Usage;
  const auto milliAmpere = ParseAmperes(session.Word(2));
  if (!milliAmpere) {
    return session.Fail(EExit::Usage,
                        fmt::format("'{}' is no current: give amperes such as 16 or 12.5, at most {}",
                                    session.Word(2), kNoLimitAmpere));
  }
  const std::string phases = session.Words() > 3 ? session.Word(3) : "0";  // 0: the service's default
  if (session.Words() > 3 && phases != "1" && phases != "3") {
    return session.Fail(EExit::Usage, fmt::format("'{}' is no number of phases: give 1 or 3", phases));
  }
  ipc::MCurrentControlLimit limit;
  limit.set_source(*source);
  limit.set_limit(*milliAmpere);
  limit.set_number_of_phases(phases[0] - '0');
  return session.AnswerResult(
      kService, session.Call(kService, &Client::SetCurrentLimit, limit),
      fmt::format("{} limits to {}", FormatSource(*source), FormatAmpere(*milliAmpere)));
}

EExit Clear(CSession& session) {
  const auto source = SourceFrom(session);
  if (!source) return EExit::Usage;
  ipc::MCurrentControlLimit limit;
  limit.set_source(*source);
  return session.AnswerResult(kService, session.Call(kService, &Client::ClearCurrentLimit, limit),
                              fmt::format("{} limits no more", FormatSource(*source)));
}

EExit Sources(CSession& session) {
  Json::Value json = Json::arrayValue;
  std::string text = fmt::format("{:>3}  {:<38}{:<26}{}", "NO.", "ENUMERATOR", "NAME", "SET BY");
  for (const SLimitationSource& source : LimitationSources()) {
    Json::Value element = SourceToJson(source.value);
    element["set_by"] = std::string(SetterOf(source));
    json.append(element);
    text += fmt::format("\n{:>3}  {:<38}{:<26}{}", static_cast<int>(source.value), source.enumerator,
                        source.displayName, SetterOf(source));
  }
  return session.Answer(json, text);
}
