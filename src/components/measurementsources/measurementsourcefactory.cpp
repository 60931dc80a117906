#include "src/components/measurementsources/measurementsourcefactory.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include <fmt/ranges.h>

#include "platform/log/log.h"
#include "platform/utility/text.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/measurementsources/ct.h"
#include "src/components/measurementsources/deferredctmeter.h"
#include "src/components/measurementsources/modbusmeasurementsource.h"
#include "src/components/measurementsources/p1extender.h"
#include "src/components/measurementsources/p1parser.h"
#include "src/components/settingskeys.h"

namespace {

constexpr auto kClassName = "CMeasurementSourceFactory";

// Below the root.
constexpr auto kP1Dump = "data/log/p1extender_p1_dump.log";
constexpr auto kHomeWizardDump = "data/log/homewizard_dump.log";

constexpr std::array kKnownTypes{SettingsKeys::kCurrentTransformers, SettingsKeys::kP1Extender,
                                 SettingsKeys::kHomeWizard, SettingsKeys::kModbusTcp,
                                 SettingsKeys::kModbusRtu};

/// The parameters of a type by their names.
struct SKnownParameters {
  std::string_view type;
  bool isAnyCase;
  std::vector<std::string> names;
};

const SKnownParameters& KnownParameters(std::string_view type) {
  static const std::array<SKnownParameters, 5> known{{
      {SettingsKeys::kCurrentTransformers, false, {"type"}},
      {SettingsKeys::kP1Extender, false, {}},
      {SettingsKeys::kHomeWizard, false, {"address", "serial"}},
      {SettingsKeys::kModbusTcp, true, {"type", "address", "port", "unitId", "invert", "phases"}},
      {SettingsKeys::kModbusRtu,
       true,
       {"type", "device", "baudRate", "parity", "stopBits", "unitId", "invert", "phases"}},
  }};
  return *std::ranges::find(known, type, &SKnownParameters::type);
}

/// One that was misspelt is as if it were not there.
void TellUnknownParameters(std::string_view type, const Json::Value& parameters) {
  if (!parameters.isObject()) return;
  const SKnownParameters& known = KnownParameters(type);
  for (const std::string& given : parameters.getMemberNames()) {
    const bool isKnown = std::ranges::any_of(known.names, [&](const std::string& name) {
      return known.isAnyCase ? Text::ToLowerCase(given) == Text::ToLowerCase(name) : given == name;
    });
    if (isKnown) continue;
    LOG_WARNING("Parameter \"{}\" of a measurement source of type {} is unknown and ignored, known are: {}",
                Text::InOneLine(given), type,
                known.names.empty() ? "none" : fmt::format("{}", fmt::join(known.names, ", ")));
  }
}

bool IsIntegral(const Json::Value& number) {
  return number.isInt64() || number.isUInt64();
}

bool AreSameNumber(const Json::Value& one, const Json::Value& other) {
  if (one.isInt64() && other.isInt64()) return one.asInt64() == other.asInt64();
  if (one.isUInt64() && other.isUInt64()) return one.asUInt64() == other.asUInt64();
  return !IsIntegral(one) && !IsIntegral(other) && one.asDouble() == other.asDouble();
}

/// As JSON has it, which knows one kind of number. JsonCpp's own comparison tells 1 from 1.0.
bool AreSame(const Json::Value& one, const Json::Value& other) {
  if (one.isNumeric() && other.isNumeric()) return AreSameNumber(one, other);
  if (one.type() != other.type() || one.size() != other.size()) return false;
  if (one.isArray()) return std::equal(one.begin(), one.end(), other.begin(), AreSame);
  if (!one.isObject()) return one == other;
  return std::ranges::all_of(one.getMemberNames(), [&](const std::string& name) {
    return other.isMember(name) && AreSame(one[name], other[name]);
  });
}

}  // namespace

CMeasurementSourceFactory::CMeasurementSourceFactory(SDependencies dependencies)
    : mDependencies(std::move(dependencies)) {}

std::shared_ptr<IMeasurementSource> CMeasurementSourceFactory::Create(std::string_view type,
                                                                      const Json::Value& parameters) {
  LOG_ENTRY(kClassName);
  const std::string lowerCaseType = Text::ToLowerCase(std::string(type));
  const Json::Value identity = Identity(lowerCaseType, parameters);
  if (auto source = Find(lowerCaseType, identity)) return source;
  auto source = Make(lowerCaseType, identity);
  std::erase_if(mMade, [](const SMade& made) { return made.source.expired(); });
  if (!source) return source;
  TellUnknownParameters(lowerCaseType, parameters);
  mMade.push_back({lowerCaseType, identity, source});
  return source;
}

void CMeasurementSourceFactory::InitSources() {
  LOG_ENTRY(kClassName);
  for (const auto& made : mMade) {
    if (const auto source = made.source.lock()) source->Init();
  }
}

void CMeasurementSourceFactory::DeInitSources() {
  LOG_ENTRY(kClassName);
  for (const auto& made : mMade) {
    if (const auto source = made.source.lock()) source->DeInit();
  }
}

std::shared_ptr<IMeasurementSource> CMeasurementSourceFactory::Find(std::string_view type,
                                                                    const Json::Value& parameters) const {
  for (const auto& made : mMade) {
    if (made.type != type || !AreSame(made.parameters, parameters)) continue;
    if (auto source = made.source.lock()) return source;
  }
  return nullptr;
}

bool CMeasurementSourceFactory::UsesSerialLine(std::string_view type) {
  return type == SettingsKeys::kP1Extender || type == SettingsKeys::kModbusRtu;
}

std::shared_ptr<IMeasurementSource> CMeasurementSourceFactory::Make(const std::string& type,
                                                                    const Json::Value& parameters) const {
  if (type == SettingsKeys::kCurrentTransformers) return MakeCt(parameters);
  if (type == SettingsKeys::kP1Extender) return MakeP1Extender();
  if (type == SettingsKeys::kHomeWizard) return MakeHomeWizard(parameters);
  if (type == SettingsKeys::kModbusTcp) return MakeModbus(EModbusConnectionKind::Tcp, parameters);
  if (type == SettingsKeys::kModbusRtu) return MakeModbus(EModbusConnectionKind::Rtu, parameters);
  LOG_ERROR("Measurement source type \"{}\" is unknown, known are: {}", Text::InOneLine(type),
            fmt::join(kKnownTypes, ", "));
  return nullptr;
}

std::shared_ptr<IMeasurementSource> CMeasurementSourceFactory::MakeCt(const Json::Value& parameters) const {
  return std::make_shared<CCt>(mDependencies.scheduler,
                               std::make_unique<CDeferredCtMeter>(mDependencies.access.createCtMeter),
                               mDependencies.config, parameters, CCt::SPeriods{}, mDependencies.stationMeter,
                               mDependencies.implausibleCt);
}

std::shared_ptr<IMeasurementSource> CMeasurementSourceFactory::MakeP1Extender() const {
  const std::filesystem::path device = mDependencies.root / kSerialLine;
  return std::make_shared<CP1Extender>(
      mDependencies.scheduler,
      mDependencies.access.createRs485(
          {.path = device.string(), .autoDirection = mDependencies.config->HasRs485AutoDirection()}),
      std::make_unique<CP1Parser>(mDependencies.files, mDependencies.root / kP1Dump, mDependencies.p1Version),
      fmt::format("The P1 extender at {}", device.string()),
      CP1Extender::SPeriods{.silence = CP1Extender::kSilence});
}

std::shared_ptr<IMeasurementSource> CMeasurementSourceFactory::MakeHomeWizard(
    const Json::Value& parameters) const {
  return std::make_shared<CHomeWizard>(
      mDependencies.scheduler,
      CHomeWizard::SDependencies{
          .createHttpClient = mDependencies.access.createHttpClient,
          .discovery = mDependencies.access.discovery,
          .defaultPort = [config = mDependencies.config] { return config->GetHomeWizardAddressPort(); },
          .store = mDependencies.storeHomeWizard,
          .files = mDependencies.files,
          .dumpFile = mDependencies.root / kHomeWizardDump},
      parameters, CHomeWizard::SPeriods{});
}

std::shared_ptr<IMeasurementSource> CMeasurementSourceFactory::MakeModbus(
    EModbusConnectionKind kind, const Json::Value& parameters) const {
  return std::make_shared<CModbusMeasurementSource>(
      mDependencies.scheduler, mDependencies.access.modbus, kind, parameters,
      SModbusRtuLine{.device = (mDependencies.root / kSerialLine).string(),
                     .autoDirection = mDependencies.config->HasRs485AutoDirection()},
      CModbusMeasurementSource::SPeriods{});
}

Json::Value CMeasurementSourceFactory::Identity(const std::string& type, const Json::Value& parameters) {
  // There is one line, whatever else somebody wrote down.
  if (type == SettingsKeys::kP1Extender) return Json::objectValue;
  Json::Value identity = parameters.isObject() ? parameters : Json::Value(Json::objectValue);
  // No address and an empty one both mean: the meter that can be found.
  if (type == SettingsKeys::kHomeWizard && !identity.isMember("address")) identity["address"] = "";
  return identity;
}
