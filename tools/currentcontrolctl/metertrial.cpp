#include "tools/currentcontrolctl/metertrial.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/koconfig/koconfig.h"
#include "src/components/measurementsources/ct.h"
#include "src/components/meterfeatures.h"
#include "src/components/settingskeys.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "tools/currentcontrolctl/unwrittensettings.h"

namespace {

constexpr Milliseconds kLookPeriod{100};
/// A metering chip that was just set up shows what is left of the time before.
constexpr Milliseconds kChipSettles = CCt::SPeriods{}.settling + kSamplingPeriod;
/// Every kind of meter tells each failed attempt from there.
constexpr std::string_view kWhereReadingsFail = "src/components/measurementsources/metersource:";

std::shared_ptr<KoConfig::IReadOnlyConfig> Open(CSession& session, const char* file) {
  return KoConfig::CreateReadOnly(session.Scheduler(), session.Files(), session.Root() / "etc" / file);
}

}  // namespace

CMeterTrial::CMeterTrial(CSession& session, std::string type, Json::Value parameters)
    : mSession(session),
      mType(std::move(type)),
      mParameters(std::move(parameters)),
      mConfig(std::make_shared<CCurrentControlConfig>(
          std::make_shared<CUnwrittenSettings>(Open(session, "settings.json")),
          Open(session, "hwinfo.json"))),
      mDiagnostics(
          std::make_shared<CDiagnosticsCommClient>(session.Scheduler(), session.CreateClient("Diagnostics"))),
      mFactory(Dependencies()),
      mSource(mFactory.Create(mType, mParameters)),
      mWorker(session.Scheduler(), "Reading") {}

CMeasurementSourceFactory::SDependencies CMeterTrial::Dependencies() {
  const auto signal = [this](const CSignalDefinition& definition) {
    return std::make_shared<CDiagnosticsSignal>(definition, mDiagnostics);
  };
  CMeasurementSourceFactory::SDependencies dependencies{
      .scheduler = mSession.Scheduler(),
      .files = mSession.Files(),
      .root = mSession.Root(),
      .config = mConfig,
      .access = mSession.Meters(),
      .stationMeter = [] { return std::nullopt; },
      .implausibleCt = {},
      .p1Version = signal(DiagnosticsSignals::kP1Version),
      .storeHomeWizard = [this](const std::string&, const Json::Value& found) { Know(found); }};
  std::ranges::transform(DiagnosticsSignals::kImplausibleCt, dependencies.implausibleCt.begin(), signal);
  return dependencies;
}

void CMeterTrial::Know(const Json::Value& found) {
  for (const std::string& name : found.getMemberNames()) mParameters[name] = found[name];
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

void CMeterTrial::ShowNewReasons() {
  if (!mSession.IsTerminal()) return;
  for (const std::string& reason : Reasons()) {
    mSession.Err() << "  " << reason << std::endl;
    ++mShown;
  }
}

void CMeterTrial::Look() {
  ShowNewReasons();
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

std::vector<std::string> CMeterTrial::Reasons() const {
  std::vector<std::string> reasons;
  for (const auto& line : mLog.Lines()) {
    if (line.level >= Log::ELogLevel::Warning) reasons.push_back(line.text);
  }
  reasons.erase(reasons.begin(), reasons.begin() + static_cast<std::ptrdiff_t>(mShown));
  return reasons;
}

std::string CMeterTrial::NewestFailure() const {
  const auto lines = mLog.Lines();
  const auto newest = std::find_if(lines.rbegin(), lines.rend(), [](const CLogCapture::SLine& line) {
    return line.level == Log::ELogLevel::Debug && line.position.starts_with(kWhereReadingsFail);
  });
  return newest == lines.rend() ? std::string() : newest->text;
}
