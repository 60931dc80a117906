#include "src/components/measurementsources/measurementsourcefactory.h"

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/ranges.h>

#include "platform/log/log.h"
#include "platform/utility/text.h"
#include "src/components/measurementsources/ct.h"
#include "src/components/measurementsources/deferredctmeter.h"
#include "src/components/settingskeys.h"

namespace {

constexpr auto kClassName = "CMeasurementSourceFactory";

constexpr std::array kKnownTypes{SettingsKeys::kCurrentTransformers, SettingsKeys::kP1Extender,
                                 SettingsKeys::kHomeWizard, SettingsKeys::kModbusTcp,
                                 SettingsKeys::kModbusRtu};

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
  if (auto source = Find(lowerCaseType, parameters)) return source;
  auto source = Make(lowerCaseType, parameters);
  std::erase_if(mMade, [](const SMade& made) { return made.source.expired(); });
  if (source) mMade.push_back({lowerCaseType, parameters, source});
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

std::shared_ptr<IMeasurementSource> CMeasurementSourceFactory::Make(const std::string& type,
                                                                    const Json::Value& parameters) const {
  if (type == SettingsKeys::kCurrentTransformers) {
    return std::make_shared<CCt>(mDependencies.scheduler,
                                 std::make_unique<CDeferredCtMeter>(mDependencies.createCtMeter),
                                 mDependencies.config, parameters, CCt::SPeriods{}, mDependencies.meterData,
                                 mDependencies.implausibleCt);
  }
  if (std::ranges::find(kKnownTypes, type) != kKnownTypes.end()) {
    LOG_ERROR("Measurement source type \"{}\" is not supported by this version", type);
  } else {
    LOG_ERROR("Measurement source type \"{}\" is unknown, known are: {}", Text::InOneLine(type),
              fmt::join(kKnownTypes, ", "));
  }
  return nullptr;
}
