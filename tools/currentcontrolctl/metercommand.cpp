#include "tools/currentcontrolctl/metercommand.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <variant>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "ipc/genericcontrol.service.h"

#include "platform/utility/jsontext.h"
#include "src/components/measurementsources/measurementsourcefactory.h"
#include "src/components/measurementsources/modbusmeterparameters.h"
#include "src/components/settingskeys.h"
#include "tools/currentcontrolctl/meterreport.h"
#include "tools/currentcontrolctl/metertrial.h"
#include "tools/currentcontrolctl/metertypes.h"

namespace {

/// Two who set up one metering chip, or read one line, would disturb each other.
bool IsServiceThere(CSession& session) {
  return session.Call("CurrentControlGenCtrl", &ipc::CGenericControlClient::GetState).status !=
         Rpc::EStatus::Unreachable;
}

std::filesystem::path WithoutLinks(const std::filesystem::path& path) {
  std::error_code error;
  const auto canonical = std::filesystem::weakly_canonical(path, error);
  return error ? path.lexically_normal() : canonical;
}

/// Not when it is on a line of its own, nor when its parameters are no good.
bool NeedsWayOfService(CSession& session, const SMeterType& type, const Json::Value& parameters) {
  if (type.name != SettingsKeys::kModbusRtu) return !type.exclusiveWay.empty();
  const auto line = session.Root() / CMeasurementSourceFactory::kSerialLine;
  const auto parsed =
      ModbusMeterParameters::Parse(EModbusConnectionKind::Rtu, parameters, {.device = line.string()});
  const auto* meter = std::get_if<SModbusMeterParameters>(&parsed);
  return meter != nullptr && WithoutLinks(meter->line.device) == WithoutLinks(line);
}

std::string Seconds(Milliseconds span) {
  return fmt::format("{} s", span.count() / 1000);
}

EExit TellReading(CSession& session, const SMeterType& type, const CMeterTrial& trial,
                  const Json::Value& given) {
  const Json::Value& parameters = trial.Parameters();
  Json::Value json;
  json["type"] = std::string(type.name);
  json["parameters"] = parameters;
  json["reading"] = ReadingToJson(trial.Reading());
  std::string text =
      fmt::format("{} {}\n{}", type.name, JsonText::ToLine(parameters), FormatReading(trial.Reading()));
  if (parameters != given) text += "what was not given was found out by asking; nothing was stored\n";
  return session.Answer(json, text + "in settings.json: " + FormatSettings(type.name, parameters));
}

EExit TellFailure(CSession& session, const SMeterType& type, const CMeterTrial& trial) {
  const auto reasons = trial.Reasons();
  if (!reasons.empty()) {
    return session.Fail(EExit::Refused,
                        fmt::format("{} cannot be read:\n  {}", type.name, fmt::join(reasons, "\n  ")));
  }
  const std::string newest = trial.NewestFailure();
  return session.Fail(EExit::Refused,
                      fmt::format("{} cannot be read: no reading within {}{}{}", type.name,
                                  Seconds(session.Wait()), newest.empty() ? "" : "; ", newest));
}

EExit ReadMeter(CSession& session, const SMeterType& type, const Json::Value& parameters) {
  if (NeedsWayOfService(session, type, parameters) && IsServiceThere(session)) {
    return session.Fail(EExit::Refused,
                        fmt::format("the service that runs below {} may be using {}; let it end first",
                                    session.Root().string(), type.exclusiveWay));
  }
  if (session.IsTerminal() && !session.IsJson()) {
    session.Err() << fmt::format("reading {}, for {} at most ...", type.name, Seconds(session.Wait()))
                  << std::endl;
  }
  CMeterTrial trial(session, std::string(type.name), parameters);
  return trial.Read(session.Wait()) ? TellReading(session, type, trial, parameters)
                                    : TellFailure(session, type, trial);
}

}  // namespace

EExit Meter(CSession& session) {
  if (session.IsToList()) {
    if (session.Words() > 1) return session.Fail(EExit::Usage, "usage: currentcontrolctl meter --list");
    return session.Answer(MeterTypesJson(), MeterTypesText());
  }
  if (session.Words() < 2) {
    return session.Fail(EExit::Usage, "usage: currentcontrolctl meter TYPE [PARAMS], or meter --list");
  }
  const SMeterType* type = FindMeterType(session.Word(1));
  if (type == nullptr) {
    return session.Fail(EExit::Usage,
                        fmt::format("'{}' is no type of meter; meter --list lists them", session.Word(1)));
  }
  Json::Value parameters(Json::objectValue);
  if (session.Words() > 2) {
    const std::string fault = JsonText::ParseObject(session.Word(2), parameters);
    if (!fault.empty())
      return session.Fail(EExit::Usage, fmt::format("the parameters are no JSON object: {}", fault));
  }
  return ReadMeter(session, *type, parameters);
}
