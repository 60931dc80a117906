#include "tools/currentcontrolctl/metertrial.h"

#include <algorithm>
#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/koconfig/koconfig.h"
#include "platform/utility/jsontext.h"
#include "src/components/measurementsources/ct.h"
#include "src/components/settingskeys.h"
#include "src/components/sourceparameters.h"
#include "src/diagnosticssignals/diagnosticssignals.h"

namespace {

constexpr Milliseconds kLookPeriod{100};
/// A metering chip that was just set up shows what is left of the time before.
constexpr Milliseconds kChipSettles = CCt::SPeriods{}.settling + kSamplingPeriod;

CTrySettings::Texts SettingsOf(const std::string& type, const Json::Value& parameters) {
  return {{std::string(SettingsKeys::kBopSource), type},
          {std::string(SettingsKeys::kBopSourceParameters), JsonText::ToLine(parameters)}};
}

}  // namespace

CMeterTrial::CMeterTrial(CSession& session, std::string type, const Json::Value& parameters)
    : mSession(session),
      mType(std::move(type)),
      mSettings(std::make_shared<CTrySettings>(SettingsOf(mType, parameters))),
      mConfig(std::make_shared<CCurrentControlConfig>(
          mSettings, KoConfig::CreateReadOnly(session.Scheduler(), session.Files(),
                                              session.Root() / "etc" / "hwinfo.json"))),
      mDiagnostics(
          std::make_shared<CDiagnosticsCommClient>(session.Scheduler(), session.CreateClient("Diagnostics"))),
      mFactory(Dependencies()),
      mSource(mFactory.Create(mType, parameters)),
      mWorker(session.Scheduler(), "Reading") {}

CMeasurementSourceFactory::SDependencies CMeterTrial::Dependencies() {
  CMeasurementSourceFactory::SDependencies dependencies{.scheduler = mSession.Scheduler(),
                                                        .config = mConfig,
                                                        .createCtMeter = mSession.Meters().createCtMeter,
                                                        .meterData = [] { return ipc::MMeterData(); },
                                                        .implausibleCt = {}};
  std::ranges::transform(DiagnosticsSignals::kImplausibleCt, dependencies.implausibleCt.begin(),
                         [this](const CSignalDefinition& definition) {
                           return std::make_shared<CDiagnosticsSignal>(definition, mDiagnostics);
                         });
  return dependencies;
}

bool CMeterTrial::Read(Milliseconds wait) {
  mSource->RegisterErrorHandler([this](bool error) { mIsInError = error; });
  mTrustedFrom = mSession.Scheduler().Now();
  if (mType == SettingsKeys::kCurrentTransformers) mTrustedFrom += kChipSettles;
  if (mSource->Init()) {
    mWorker.Start();
    const CCallHandle looking = mWorker.AddCall([this] { Look(); }, kLookPeriod, kLookPeriod);
    const CCallHandle givingUp = mWorker.AddCall([this] { mSession.Stop().Set(); }, wait);
    mSession.Stop().Wait();
    mWorker.Stop();
  }
  mSource->DeInit();
  return mIsRead;
}

void CMeterTrial::Look() {
  if (mIsInError || mSession.Scheduler().Now() < mTrustedFrom || !Take()) return;
  // A reading's quantities are offered one after the other: at the second look all of them are there.
  if (!std::exchange(mHasSeen, true)) return;
  mIsRead = true;
  mSession.Stop().Set();
}

bool CMeterTrial::Take() {
  const auto read = [this](EMeasureType type) {
    return mSource->HasMeasurement(type) ? std::optional(mSource->GetMeasurements(type)) : std::nullopt;
  };
  mReading = {.current = read(EMeasureType::Current),
              .voltage = read(EMeasureType::Voltage),
              .activePower = read(EMeasureType::ActivePower)};
  return mReading != SMeterReading{};
}

Json::Value CMeterTrial::Parameters() const {
  return SourceParameters::Parse(SettingsKeys::kBopSourceParameters,
                                 mSettings->GetString(SettingsKeys::kBopSourceParameters, ""));
}

std::vector<std::string> CMeterTrial::Reasons() const {
  std::vector<std::string> reasons;
  for (const auto& line : mLog.Lines()) reasons.push_back(line.text);
  return reasons;
}
