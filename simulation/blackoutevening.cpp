#include "simulation/blackoutevening.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "simulation/metersettings.h"
#include "src/components/measurementsources/measurement.h"
#include "src/components/settingskeys.h"
#include "src/limitationsources/limits.h"

namespace {

/// mA, as the settings have it that are not given.
constexpr std::uint32_t kFallback = 6000;
constexpr std::uint32_t kHardwareAmpere = 32;
/// A sample and a look at it, each of 1250 ms, and the way to charge control.
constexpr Milliseconds kNoticed{2600};
/// As long as a change of the charging state may take to be told, every 250 ms, and looked at.
constexpr Milliseconds kKnownToCharge{1600};
/// mA; the current limiter does not forward a change of blackout protection's limit by less.
constexpr std::uint32_t kForwarded = 250;
/// mA: that, and what is lost between mA and A.
constexpr std::uint32_t kTolerance = 300;
/// How far the fuse is used, in percent of its rating.
constexpr std::uint32_t kUsedPercent = 85;

/// How old a reading gets before it is no longer used, a look at that, and what it takes blackout protection
/// to be sure: three of its own looks and one to act.
constexpr Milliseconds kMeterNoticed = Milliseconds{5000} + 5 * kSamplingPeriod;

/// By when it is noticed at the latest that nothing is measured.
Milliseconds Noticed(std::string_view meter) {
  return meter == SettingsKeys::kCurrentTransformers ? kNoticed : kMeterNoticed;
}

CVirtualStation::SFiles Files(const SEveningPlan& plan) {
  return {.hwinfo = fmt::format(R"({{"HwMaxCurrent": {}, "HwOneOrThreePhase": {}}})", kHardwareAmpere,
                                plan.stationPhases),
          .settings = fmt::format(R"({{"CurrentCtrlFixedChargeCurrentLimit": {}, "CurrentCtrlBopEnable": {},
                                       "CurrentCtrlBopFuseRating": {}, "CurrentCtrlBopCtType": "C-CT-16",
                                       "BopSource": "{}", "BopSourceParameters": "{}"}})",
                                  plan.installationAmpere, plan.isProtected, plan.fuseAmpere, plan.meter,
                                  MeterParametersInSettings(plan.meter)),
          .secrets = ""};
}

}  // namespace

CBlackoutEvening::CBlackoutEvening(SEveningPlan plan, Observer observer)
    : mPlan(std::move(plan)), mObserver(std::move(observer)), mStation(Files(mPlan)) {
  mStation.House().FitFuse(mPlan.fuseAmpere * kMilliAmperePerAmpere);
  mStation.Peers().ChargePoint().Change([this](CVehicle& vehicle) { vehicle.SetProperties(mPlan.vehicle); });
  mStation.Peers().BasicCharge().OnArrival(
      [this](const CSimulatedBasicCharge::SArrival& arrival) { OnSetpoint(arrival.milliAmpere); });
}

CBlackoutEvening::SOutcome CBlackoutEvening::Play() {
  mStation.Start();
  while (mStation.Elapsed() < SEveningPlan::kLength && mOutcome.violations.empty()) {
    Happen();
    mStation.RunFor(CHouse::kPeriod);
    Watch();
  }
  if (!mOutcome.returned && mOutcome.violations.empty()) Violation("full current never came back");
  mOutcome.highestHeat = mStation.House().View().fuse.HighestHeat();
  return std::move(mOutcome);
}

void CBlackoutEvening::Happen() {
  const Milliseconds now = mStation.Elapsed();
  const auto isDue = [now](const auto& events, std::size_t next) {
    return next < events.size() && events[next].at <= now;
  };
  while (isDue(mPlan.loads, mNextLoads)) mStation.House().SetLoads(mPlan.loads[mNextLoads++].milliAmpere);
  while (isDue(mPlan.troubles, mNextTrouble)) Suffer(mPlan.troubles[mNextTrouble++].what);
  while (isDue(mPlan.plugs, mNextPlug)) {
    const bool connected = mPlan.plugs[mNextPlug++].connected;
    mStation.Peers().ChargePoint().Change(
        [connected](CVehicle& vehicle) { connected ? vehicle.Connect() : vehicle.Disconnect(); });
  }
}

void CBlackoutEvening::Suffer(SEveningPlan::ETrouble trouble) {
  return HasTransformers() ? SufferChip(trouble) : SufferMeter(trouble);
}

void CBlackoutEvening::SufferMeter(SEveningPlan::ETrouble trouble) {
  CHouseMeter& meter = mStation.Meter();
  switch (trouble) {
    case SEveningPlan::ETrouble::Reset:
      return meter.SetFate(CHouseMeter::EFate::Garbled);
    case SEveningPlan::ETrouble::ResetAndRefuse:
    case SEveningPlan::ETrouble::Vanish:
      return meter.SetFate(CHouseMeter::EFate::Away);
    case SEveningPlan::ETrouble::Recover:
      return meter.SetFate(CHouseMeter::EFate::Good);
  }
}

void CBlackoutEvening::SufferChip(SEveningPlan::ETrouble trouble) {
  CMeteringChip& chip = mStation.Chip();
  switch (trouble) {
    case SEveningPlan::ETrouble::Reset:
      return chip.Reset();
    case SEveningPlan::ETrouble::ResetAndRefuse:
      chip.RefuseConfiguration(true);
      return chip.Reset();
    case SEveningPlan::ETrouble::Vanish:
      return chip.Vanish();
    case SEveningPlan::ETrouble::Recover:
      chip.RefuseConfiguration(false);
      if (!chip.IsPresent()) chip.Return();
  }
}

void CBlackoutEvening::Watch() {
  const SMoment moment{mStation.Elapsed(), mStation.House().View(), mSetpoint, IsMeasured()};
  if (mObserver) mObserver(moment);
  if (moment.house.fuse.HasTripped()) {
    Violation(fmt::format("the fuse tripped on phase {}", *moment.house.fuse.TrippedPhase()));
  }
  if (moment.measured || !mPlan.isProtected) mMeasuredLast = moment.at;
  if (moment.at - mMeasuredLast > Noticed(mPlan.meter) && mSetpoint >= kFallback + kForwarded) {
    Violation(fmt::format("a setpoint of {} mA without measuring", mSetpoint));
  }
  const bool charges = mStation.Peers().ChargePoint().View().state == CVehicle::EState::Charging;
  if (!charges) mChargingSince = moment.at;
  WatchReturn(moment);
}

void CBlackoutEvening::WatchReturn(const SMoment& moment) {
  if (moment.at <= SEveningPlan::kCalm || mOutcome.returned) return;
  const auto load = *std::ranges::max_element(moment.house.load);
  const std::uint32_t ofFuse = mPlan.fuseAmpere * kMilliAmperePerAmpere / 100 * kUsedPercent - load;
  const std::uint32_t full =
      std::min({mPlan.vehicle.maxMilliAmpere, mPlan.installationAmpere * kMilliAmperePerAmpere, ofFuse});
  if (moment.house.vehicle[0] + kTolerance >= full) {
    mOutcome.returned = moment.at - SEveningPlan::kCalm;
  } else if (moment.at > SEveningPlan::kCalm + kReturn) {
    Violation(fmt::format("{} mA instead of {} mA though the house is calm", moment.house.vehicle[0], full));
  }
}

void CBlackoutEvening::OnSetpoint(std::uint32_t milliAmpere) {
  ++mOutcome.setpoints;
  const bool isReduction = milliAmpere < mSetpoint;
  const bool isCharging = mStation.Elapsed() - mChargingSince > kKnownToCharge;
  if (isReduction && isCharging && milliAmpere > 0 && milliAmpere < CVehicle::kLeastMilliAmpere) {
    Violation(fmt::format("reduced from {} mA to {} mA", mSetpoint, milliAmpere));
  }
  mSetpoint = milliAmpere;
}

bool CBlackoutEvening::HasTransformers() const {
  return mPlan.meter == SettingsKeys::kCurrentTransformers;
}

bool CBlackoutEvening::IsMeasured() {
  if (!HasTransformers()) return mStation.Meter().Fate() == CHouseMeter::EFate::Good;
  const auto configuration = mStation.Chip().Configuration();
  return configuration && configuration->run == 1;
}

void CBlackoutEvening::Violation(const std::string& what) {
  const auto second = std::chrono::duration_cast<std::chrono::seconds>(mStation.Elapsed()).count();
  mOutcome.violations.push_back(fmt::format("{:02}:{:02} {}", second / 60, second % 60, what));
}
