#include "simulation/grouprun.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "simulation/groupfindingrule.h"
#include "simulation/groupoverloadrule.h"
#include "simulation/groupsafetyrule.h"
#include "simulation/groupsettlingrule.h"
#include "simulation/groupstandstillrule.h"
#include "simulation/groupsteadinessrule.h"
#include "simulation/grouptrafficrule.h"
#include "simulation/groupwaitrule.h"
#include "simulation/lightfuse.h"
#include "simulation/seededrandom.h"
#include "src/components/loadbalancing/lbphaserotation.h"

namespace {

constexpr MediumStation kLeader = 1;
constexpr std::uint32_t kMilliAmperePerAmpere = 1000;
constexpr std::int64_t kPercent = 100;
constexpr std::uint32_t kThousand = 1000;
constexpr Milliseconds kSecond{1000};
constexpr std::uint64_t kVolt = 230;
/// How many seeds a group has for what is random in it.
constexpr std::uint64_t kSeeds = 1000000;

MediumStation NumberOf(const SUdpAddress& address) {
  MediumStation number = 0;
  for (std::size_t at = address.address.size() - sizeof number; at < address.address.size(); ++at)
    number = number << 8U | address.address[at];
  return number;
}

LbPhases WiredTo(const std::string& rotation, std::uint32_t phases) {
  std::array<std::uint32_t, 3> uses{};
  std::fill_n(uses.begin(), std::min<std::size_t>(phases, uses.size()), 1U);
  const auto onSupply = CLbPhaseRotation::Parse(rotation).value().ToSupply(uses);
  std::uint32_t wired = 0;
  for (std::size_t phase = 0; phase < onSupply.size(); ++phase) wired |= onSupply[phase] << phase;
  return static_cast<LbPhases>(wired);
}

}  // namespace

CGroupRun::CGroupRun(SGroupPlan plan, const GroupStationCreator& create, SObservers observers)
    : mPlan(std::move(plan)),
      mObservers(std::move(observers)),
      mBegin(mScheduler->Now()),
      mNextSeed(mPlan.seed * kSeeds),
      mNetwork(*mScheduler, mNextSeed++),
      mLine(*mScheduler, mNextSeed++),
      mHasAdapter(mPlan.stations.size(), true),
      mCapacity(mPlan.capacityAmpere * kMilliAmperePerAmpere),
      mMoment{.plan = mPlan} {
  CreateRules();
  mNetwork.SetTap([this](const CMulticastMedium::SDatagram& datagram) {
    OnSent(NumberOf(datagram.from), datagram.data.front());
  });
  mLine.SetTap(
      [this](MediumStation from, std::span<const std::uint8_t> data) { OnSent(from, data.front()); });
  const std::uint32_t leaders = mPlan.Station(kLeader).fallbackAmpere;
  for (const SGroupPlan::SStation& station : mPlan.stations) {
    mMoment.stations.push_back({.fallbackMilliAmpere = station.fallbackAmpere * kMilliAmperePerAmpere});
    // Whom the leader has not heard it takes for one like itself.
    mMoment.fallbackMilliAmpere += std::max(station.fallbackAmpere, leaders) * kMilliAmperePerAmpere;
  }
  for (MediumStation number = 1; number <= mPlan.Last(); ++number)
    mStations.push_back(create(PlaceOf(number)));
  NoteCapacity();
}

CGroupRun::~CGroupRun() {
  mStations.clear();  // they say something yet
}

SGroupPlace CGroupRun::PlaceOf(MediumStation number) {
  SGroupPlace place{
      .scheduler = mScheduler,
      .access = {.network = mNetwork.Attach(number),
                 .createRandom = [this] { return std::make_unique<CSeededRandom>(mNextSeed++); }},
      .number = number,
      .settings = mPlan.Settings(number),
      .hwinfo = mPlan.Hwinfo(number),
      .secrets = SGroupPlan::Secrets(),
      .fuseAmpere = number == kLeader ? mPlan.fuseAmpere : 0,
      .onLimit = [this, number] { OnLimit(number); }};
  place.access.createRs485 = [end = mLine.Attach(number)](const SRs485Line&) { return end; };
  return place;
}

void CGroupRun::CreateRules() {
  const CGroupRule::Report report = [this](SGroupViolation violation) {
    if (mObservers.told)
      mObservers.told(violation.at, "BROKEN: " + violation.rule + ": " + violation.figures);
    mViolations.push_back(std::move(violation));
  };
  using EFallbacks = CGroupSafetyRule::EFallbacks;
  mRules.push_back(std::make_unique<CGroupSafetyRule>(EFallbacks::Fit, report));
  mRules.push_back(std::make_unique<CGroupSafetyRule>(EFallbacks::AreTooMuch, report));
  mRules.push_back(std::make_unique<CGroupOverloadRule>(report));
  mRules.push_back(std::make_unique<CGroupWaitRule>(report));
  mRules.push_back(std::make_unique<CGroupSettlingRule>(report));
  mRules.push_back(std::make_unique<CGroupStandstillRule>(report));
  mRules.push_back(std::make_unique<CGroupSteadinessRule>(report));
  mRules.push_back(std::make_unique<CGroupFindingRule>(report));
  mRules.push_back(
      std::make_unique<CGroupTrafficRule>(report, [this] { Happen(GroupEvents::SSplit{{{}}}); }));
}

/// What comes then shows nothing any more.
void CGroupRun::CutOff() {
  mIsCutOff = true;
  Happen(GroupEvents::SSplit{.parts = {{}}});
}

Milliseconds CGroupRun::Elapsed() const {
  return std::chrono::duration_cast<Milliseconds>(mScheduler->Now() - mBegin);
}

CGroupRun::SOutcome CGroupRun::Play() {
  HappenDue();
  for (Milliseconds second = kSecond; second <= mPlan.length && !mIsCutOff; second += kSecond) {
    while (mNextEvent < mPlan.events.size() && mPlan.events[mNextEvent].at < second) {
      mScheduler->RunFor(mPlan.events[mNextEvent].at - Elapsed());
      HappenDue();
    }
    mScheduler->RunFor(second - Elapsed());
    OnSecond();
    HappenDue();
  }
  mTotals.wattHours = mMilliAmpereSeconds * kVolt / kThousand / 3600;
  return {std::move(mViolations), mTotals};
}

// What happens.

void CGroupRun::HappenDue() {
  mMoment.at = Elapsed();
  while (mNextEvent < mPlan.events.size() && mPlan.events[mNextEvent].at <= mMoment.at) {
    const GroupEvents::What& what = mPlan.events[mNextEvent++].what;
    if (mObservers.told) mObservers.told(mMoment.at, GroupEvents::ToText(what));
    mMoment.lastEvent = mMoment.at;
    std::visit([this](const auto& each) { Happen(each); }, what);
  }
}

void CGroupRun::Happen(const GroupEvents::SPlug& plug) {
  SGroupStationMoment& station = Moment(plug.station);
  if (!station.vehicle) {
    station.vehicleSince = station.wantsSince = mMoment.at;
    station.wired = WiredTo(mPlan.Station(plug.station).rotation, plug.vehicle.phases);
    station.arePhasesKnown = station.isFull = false;
    station.hasDrawn = Milliseconds(0);
  }
  station.vehicle = plug.vehicle;
  Station(plug.station).Plug(plug.vehicle);
  Note(plug.station);
}

void CGroupRun::Happen(const GroupEvents::SUnplug& unplug) {
  SGroupStationMoment& station = Moment(unplug.station);
  station.vehicle.reset();
  station.vehicleSince = station.wantsSince = mMoment.at;
  Station(unplug.station).Unplug();
  Note(unplug.station);
}

void CGroupRun::Happen(const GroupEvents::SFull& full) {
  Moment(full.station).isFull = true;
  Moment(full.station).wantsSince = mMoment.at;
  Station(full.station).SetFull(true);
}

void CGroupRun::Happen(const GroupEvents::SPower& power) {
  SwitchOn(power.station, power.isOn);
  NoteTrouble();
}

void CGroupRun::SwitchOn(MediumStation number, bool isOn) {
  SGroupStationMoment& station = Moment(number);
  station.isPowered = isOn;
  station.wantsSince = mMoment.at;
  if (number == kLeader && isOn) {
    for (SGroupStationMoment& each : mMoment.stations) each.heard.reset();
  }
  if (!isOn) station.answered.reset();
  isOn ? Station(number).PowerOn() : Station(number).PowerOff();
}

void CGroupRun::Happen(const GroupEvents::SAdapter& adapter) {
  mHasAdapter[adapter.station - 1] = adapter.isPresent;
  mNetwork.SetAdapterPresent(adapter.station, adapter.isPresent);
  mLine.SetDevicePresent(adapter.station, adapter.isPresent);
  NoteTrouble();
}

void CGroupRun::Happen(const GroupEvents::SSplit& split) {
  mHearing.Split(split.parts);
  mNetwork.Split(split.parts);
  mLine.Split(split.parts);
  NoteTrouble();
}

void CGroupRun::Happen(const GroupEvents::SNoise& noise) {
  mMoment.isNoisy = !noise.IsQuiet();
  mNetwork.SetFaults({.longestDelay = noise.longestDelay,
                      .loss = noise.lossPerMille,
                      .duplication = noise.duplicationPerMille});
  mLine.SetFaults({.loss = noise.lossPerMille});
}

void CGroupRun::Happen(const GroupEvents::SCapacity& capacity) {
  Json::Value values(Json::objectValue);
  values["GroupLoadBalancingMaxCurrent"] = static_cast<Json::Int>(capacity.ampere);
  Station(kLeader).ChangeSettings(values);
  mCapacity = capacity.ampere * kMilliAmperePerAmpere;
  NoteCapacity();
}

void CGroupRun::Happen(const GroupEvents::SHouse& house) {
  mHouse = house.milliAmpere;
  NoteCapacity();
  ShowHouse();
}

void CGroupRun::Happen(const GroupEvents::SSecondLeader& leader) {
  leader.begins ? ++mSecondLeaders : --mSecondLeaders;
  SwitchOn(leader.station, false);
  Station(leader.station).ChangeSettings(SGroupPlan::Role(leader.begins));
  SwitchOn(leader.station, true);
  NoteTrouble();
}

void CGroupRun::NoteTrouble() {
  mMoment.isWhole = true;
  for (MediumStation number = 1; number <= mPlan.Last(); ++number) {
    SGroupStationMoment& station = Moment(number);
    const bool isReachable = mSecondLeaders == 0 && station.isPowered && Moment(kLeader).isPowered &&
                             mHasAdapter[number - 1] && mHasAdapter[kLeader - 1] &&
                             mHearing.Joins(kLeader, number);
    if (std::exchange(station.isReachable, isReachable) != isReachable) station.reachableSince = mMoment.at;
    mMoment.isWhole = mMoment.isWhole && isReachable;
    Note(number);
  }
}

void CGroupRun::NoteCapacity() {
  const LbPhaseCurrents capacity = mMoment.capacity;
  const LbPhaseCurrents planned = mMoment.planned;
  for (std::size_t phase = 0; phase < capacity.size(); ++phase) {
    mMoment.capacity[phase] = CapacityWith(mPlan.fuseAmpere * kMilliAmperePerAmpere, phase);
    mMoment.planned[phase] =
        CapacityWith(mPlan.fuseAmpere * kMilliAmperePerAmpere * CLightFuse::kUsablePercent / kPercent, phase);
  }
  mMoment.capacitySince = mMoment.at;
  const Milliseconds grace = kGrace + (mMoment.isNoisy || !mMoment.isWhole ? kMoreGraceInTrouble : kSecond);
  mFormerCapacities.push_back({mMoment.at + grace, capacity, planned});
  NoteGrant();
}

std::uint32_t CGroupRun::CapacityWith(std::int64_t fuseMilliAmpere, std::size_t phase) const {
  if (mPlan.fuseAmpere == 0) return mCapacity;
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(fuseMilliAmpere - mHouse[phase], 0, mCapacity));
}

void CGroupRun::NoteGrant() {
  std::erase_if(mFormerCapacities, [this](const auto& each) { return each.until <= mMoment.at; });
  mMoment.granted = mMoment.capacity;
  mMoment.least = mMoment.planned;
  for (const SFormerCapacity& former : mFormerCapacities) {
    for (std::size_t phase = 0; phase < former.capacity.size(); ++phase) {
      mMoment.granted[phase] = std::max(mMoment.granted[phase], former.capacity[phase]);
      mMoment.least[phase] = std::min(mMoment.least[phase], former.planned[phase]);
    }
  }
}

// What is seen.

void CGroupRun::OnSent(MediumStation number, std::uint8_t id) {
  ++mTotals.messages;
  mMoment.at = Elapsed();
  if (mObservers.sent) mObservers.sent(mMoment.at, number, id);
  if (id == static_cast<std::uint8_t>(ELbMessage::LimitAnswer)) {
    Moment(number).answered = mMoment.at;
    if (!Moment(number).heard) Moment(number).heard = mMoment.at;
  }
  for (const auto& rule : mRules) rule->OnMessage(mMoment);
  Note(number);
}

void CGroupRun::OnLimit(MediumStation number) {
  ++mTotals.limitChanges;
  mMoment.at = Elapsed();
  Moment(number).limitMilliAmpere = Station(number).LimitMilliAmpere();
  if (mObservers.told)
    mObservers.told(mMoment.at, fmt::format("{} may take {} mA", number, Moment(number).limitMilliAmpere));
  Note(number);
}

void CGroupRun::OnSecond() {
  mMoment.at = Elapsed();
  NoteGrant();
  for (MediumStation number = 1; number <= mPlan.Last(); ++number) {
    NoteDraw(number);
    Note(number);
  }
  ShowHouse();
  for (const auto& rule : mRules) rule->OnSecond(mMoment);
  if (mObservers.moment) mObservers.moment(mMoment);
}

void CGroupRun::NoteDraw(MediumStation number) {
  SGroupStationMoment& station = Moment(number);
  station.drawn = Station(number).Drawn();
  for (const std::uint32_t milliAmpere : station.drawn) mMilliAmpereSeconds += milliAmpere;
  station.isDrawing = DrawingLbPhases(station.drawn) != 0;
  if (!station.isDrawing) return;
  station.hasDrawn += kSecond;
  station.arePhasesKnown = station.hasDrawn >= kPhasesKnown;
}

/// The house's meter sees the other vehicles as well.
void CGroupRun::ShowHouse() {
  if (mPlan.fuseAmpere == 0) return;
  Amperes total = mHouse;
  for (MediumStation number = kLeader + 1; number <= mPlan.Last(); ++number) {
    for (std::size_t phase = 0; phase < total.size(); ++phase)
      total[phase] += static_cast<std::int32_t>(Moment(number).drawn[phase]);
  }
  Station(kLeader).SetHouse(total);
}

void CGroupRun::Note(MediumStation number) {
  SGroupStationMoment& station = Moment(number);
  station.isLed = station.isPowered &&
                  (number == kLeader || (station.answered && mMoment.at - *station.answered < kHold));
  const LbPhaseCurrents mayDraw = MayDraw(number);
  for (std::size_t phase = 0; phase < mayDraw.size(); ++phase)
    mMoment.mayDraw[phase] += mayDraw[phase] - station.mayDraw[phase];
  station.mayDraw = mayDraw;
  for (const auto& rule : mRules) rule->OnChange(mMoment, number);
}

LbPhaseCurrents CGroupRun::MayDraw(MediumStation number) const {
  const SGroupStationMoment& station = mMoment.stations[number - 1];
  const bool isFallback = station.limitMilliAmpere == station.fallbackMilliAmpere;
  LbPhaseCurrents mayDraw{};
  if (!station.isLed || (isFallback && !IsKnown(number))) {
    mayDraw.fill(CountedFallback(number));
    if (isFallback) return mayDraw;
  }
  // Nobody can know the phases of a vehicle that has not shown them. The next one is not there at once.
  const bool isGoneForLong =
      !station.vehicle && mMoment.at - station.vehicleSince >= SGroupPlan::kBetweenVehicles;
  const LbPhases phases = station.arePhasesKnown && !isGoneForLong ? station.wired : kLbAllPhases;
  for (std::size_t phase = 0; phase < mayDraw.size(); ++phase) {
    if (HasLbPhase(phases, phase)) mayDraw[phase] = std::max(mayDraw[phase], station.limitMilliAmpere);
  }
  return mayDraw;
}

/// Whether the leader has heard what it falls back to, and could make room for it.
bool CGroupRun::IsKnown(MediumStation number) const {
  const auto heard = mMoment.stations[number - 1].heard;
  return number == kLeader || (heard && mMoment.at - *heard >= kGrace);
}

/// One who is off may come back at any time, and has told what it falls back to; the leader itself knows that
/// others hold what it told them for a while. A leader knows no other than its own of those who have not told
/// it theirs, and nothing at all of those it has not even been told the number of.
std::uint32_t CGroupRun::CountedFallback(MediumStation number) const {
  const std::uint32_t own = mMoment.stations[number - 1].fallbackMilliAmpere;
  if (number == kLeader) return 0;
  if (IsKnown(number)) return own;
  return mPlan.groupSize == 0 ? 0 : std::min(own, mMoment.stations.front().fallbackMilliAmpere);
}
