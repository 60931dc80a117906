#include "simulation/stationday.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "simulation/fuserule.h"
#include "simulation/imbalancerule.h"
#include "simulation/obediencerule.h"
#include "simulation/offerafterstoprule.h"
#include "simulation/offeredcurrentrule.h"
#include "simulation/overcurrentrule.h"
#include "simulation/phaseswitchrule.h"
#include "simulation/solarrule.h"

namespace {

/// A meter that was away is asked again after pauses of up to 30 s; then comes a reading, and a sample of it.
constexpr Milliseconds kHouseMeterRecovers{35000};
/// Its next measurement, and the five that overcurrent protection averages.
constexpr Milliseconds kStationMeterRecovers{6000};
constexpr Milliseconds kNever{std::numeric_limits<std::int64_t>::max()};

}  // namespace

CStationDay::CStationDay(SDayPlan plan, Observer observer, Milliseconds step)
    : mPlan(std::move(plan)),
      mObserver(std::move(observer)),
      mStep(step),
      mRoof(mPlan.roof),
      mSituation{.plan = mPlan,
                 .settings = mPlan.settings,
                 .limitOf = [this](ipc::ECurrentControlSource source) { return mSight.LimitOf(source); }},
      mStation({.hwinfo = mPlan.Hwinfo(), .settings = mPlan.Settings(mPlan.settings), .secrets = ""}),
      mSight(mStation) {
  CreateRules();
  mStation.House().FitFuse(mPlan.fuseAmpere * 1000);
  mStation.Peers().BasicCharge().OnArrival([this](const CSimulatedBasicCharge::SArrival& arrival) {
    if (arrival.taken) OnSetpoint(arrival.milliAmpere, arrival.phases);
  });
  Unplug();
}

void CStationDay::CreateRules() {
  const CDayRule::Report report = [this](SDayViolation violation) {
    mViolations.push_back(std::move(violation));
  };
  mRules.push_back(std::make_unique<COfferedCurrentRule>(report));
  mRules.push_back(std::make_unique<COfferAfterStopRule>(report));
  mRules.push_back(std::make_unique<CFuseRule>(report));
  mRules.push_back(std::make_unique<CObedienceRule>(report));
  mRules.push_back(std::make_unique<COvercurrentRule>(report));
  mRules.push_back(std::make_unique<CImbalanceRule>(report));
  mRules.push_back(std::make_unique<CPhaseSwitchRule>(report));
  mRules.push_back(std::make_unique<CSolarRule>(CSolarRule::EKind::Starts, report));
  mRules.push_back(std::make_unique<CSolarRule>(CSolarRule::EKind::Stops, report));
}

CStationDay::SOutcome CStationDay::Play() {
  Happen();
  mStation.Start();
  if (mObserver) mObserver(mSight.Look());
  while (TimeOfDay() < mPlan.end) {
    mStation.RunFor(kCheckPeriod);
    Watch();
    Happen();
  }
  mStation.Terminate();
  return {std::move(mViolations), mTotals.Get()};
}

void CStationDay::Happen() {
  const Milliseconds now = TimeOfDay();
  CHouse& house = mStation.House();
  house.SetGeneration(mRoof.CurrentsAt(now));
  while (mNextLoads < mPlan.loads.size() && mPlan.loads[mNextLoads].at <= now) {
    house.SetLoads(mPlan.loads[mNextLoads++].milliAmpere);
  }
  Visit(now);
  ChangeSettings(now);
  Trouble(now);
}

void CStationDay::Visit(Milliseconds now) {
  if (mSituation.visit != nullptr && mSituation.visit->until <= now) Unplug();
  while (mNextVisit < mPlan.visits.size() && mPlan.visits[mNextVisit].from <= now) {
    const SDayPlan::SVisit& visit = mPlan.visits[mNextVisit++];
    if (visit.until > now) Plug(visit);
  }
  const auto* visit = mSituation.visit;
  if (visit != nullptr && visit->full && *visit->full <= now) {
    mStation.Peers().ChargePoint().Change([](CVehicle& vehicle) { vehicle.SetFull(true); });
  }
}

void CStationDay::Plug(const SDayPlan::SVisit& visit) {
  CStation& station = mStation.Peers();
  mSituation.visit = &visit;
  station.ChargePoint().Change([&visit](CVehicle& vehicle) { vehicle.SetProperties(visit.vehicle); });
  if (mPlan.hasSocket) return station.PlugCable(visit.cable);
  station.ChargePoint().Change([](CVehicle& vehicle) { vehicle.Connect(); });
}

void CStationDay::Unplug() {
  CStation& station = mStation.Peers();
  mSituation.visit = nullptr;
  mSituation.stoppedBy = ipc::ECurrentControlNone;
  if (mPlan.hasSocket) return station.PullCable();
  station.ChargePoint().Change([](CVehicle& vehicle) { vehicle.Disconnect(); });
}

void CStationDay::ChangeSettings(Milliseconds now) {
  const std::size_t changes = mNextChange;
  while (mNextChange < mPlan.changes.size() && mPlan.changes[mNextChange].at <= now) ++mNextChange;
  if (mNextChange == changes) return;
  mSituation.settings = mPlan.changes[mNextChange - 1].settings;
  ++mSituation.settingsChanges;
  mStation.Files().Write(CVirtualStation::SettingsPath(), mPlan.Settings(mSituation.settings));
}

void CStationDay::Trouble(Milliseconds now) {
  while (mNextTrouble < mPlan.troubles.size() && !mIsTroubled && mPlan.troubles[mNextTrouble].until <= now) {
    ++mNextTrouble;
  }
  if (mNextTrouble == mPlan.troubles.size()) return;
  const SDayPlan::STrouble& trouble = mPlan.troubles[mNextTrouble];
  if (!mIsTroubled && trouble.from <= now) {
    mIsTroubled = true;
    Suffer(trouble, true);
  }
  if (mIsTroubled && trouble.until <= now) {
    mIsTroubled = false;
    ++mNextTrouble;
    Suffer(trouble, false);
  }
}

void CStationDay::Suffer(const SDayPlan::STrouble& trouble, bool begins) {
  using EFate = CHouseMeter::EFate;
  const Milliseconds now = mStation.Elapsed();
  ++mSituation.troubles;
  switch (trouble.what) {
    case SDayPlan::ETrouble::MeterAway:
    case SDayPlan::ETrouble::MeterGarbled: {
      const bool isAway = trouble.what == SDayPlan::ETrouble::MeterAway;
      mStation.Meter().SetFate(!begins ? EFate::Good : isAway ? EFate::Away : EFate::Garbled);
      mHouseMeterGoodFrom = begins ? kNever : now + kHouseMeterRecovers;
      break;
    }
    case SDayPlan::ETrouble::StationMeterSilent:
      mStation.Peers().StationMeter().Silence(begins);
      mStationMeterGoodFrom = begins ? kNever : now + kStationMeterRecovers;
      break;
    case SDayPlan::ETrouble::TransformersReset:
      if (begins) mStation.Chip().Reset();
      break;
    case SDayPlan::ETrouble::TransformersGone:
      begins ? mStation.Chip().Vanish() : mStation.Chip().Return();
      break;
  }
}

void CStationDay::Watch() {
  const SStationMoment moment = mSight.Look();
  NoteStop(moment);
  NoteMeters(moment.at);
  for (const auto& rule : mRules) rule->OnMoment(moment, mSituation);
  mTotals.OnMoment(moment);
  if (mObserver && moment.at.count() % mStep.count() == 0) mObserver(moment);
  if (moment.hasFuseTripped) mStation.House().FitFuse(mPlan.fuseAmpere * 1000);
}

void CStationDay::NoteStop(const SStationMoment& moment) {
  if (!moment.isStopped || mSituation.stoppedBy != ipc::ECurrentControlNone) return;
  const bool isOvercurrent = mSight.LimitOf(ipc::ECurrentControlOvercurrentProtection) == 0;
  mSituation.stoppedBy =
      isOvercurrent ? ipc::ECurrentControlOvercurrentProtection : ipc::ECurrentControlVDEPhaseImbalance;
}

void CStationDay::NoteMeters(Milliseconds now) {
  mSituation.isHouseMeterGood = now >= mHouseMeterGoodFrom;
  mSituation.isStationMeterGood = now >= mStationMeterGoodFrom;
}

void CStationDay::OnSetpoint(std::uint32_t milliAmpere, std::uint32_t phases) {
  mTotals.OnSetpoint(phases);
  const Milliseconds now = mStation.Elapsed();
  for (const auto& rule : mRules) rule->OnSetpoint(now, milliAmpere, phases);
}
