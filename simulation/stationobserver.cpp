#include "simulation/stationobserver.h"

#include <algorithm>
#include <array>

namespace {

using MilliVolts = std::array<std::uint32_t, 3>;

std::int32_t Watt(const CVehicle::Currents& milliAmpere, const MilliVolts& milliVolt) {
  std::uint64_t microWatt = 0;
  for (std::size_t i = 0; i < milliAmpere.size(); ++i) {
    microWatt += std::uint64_t{milliAmpere[i]} * milliVolt[i];
  }
  return static_cast<std::int32_t>(microWatt / 1000000);
}

std::int32_t SetpointWatt(const SStationMoment& moment, const MilliVolts& milliVolt) {
  CVehicle::Currents offered{};
  std::fill_n(offered.begin(), std::min(moment.setpointPhases, CVehicle::kPhases),
              moment.setpointMilliAmpere);
  return Watt(offered, milliVolt);
}

}  // namespace

CStationObserver::CStationObserver(CVirtualStation& station)
    : mStation(station), mCurrentControl(station.Clients().CreateClient("CurrentControl")) {}

SStationMoment CStationObserver::Look() {
  const CHouse::SView house = mStation.House().View();
  const CHouseMeter::SView meter = mStation.Meter().View();
  SStationMoment moment;
  moment.at = mStation.Elapsed();
  moment.load = house.load;
  moment.generation = house.generation;
  moment.vehicle = house.vehicle;
  moment.house = house.net;
  moment.fuseMilliAmpere = house.fuse.RatingMilliAmpere();
  moment.fuseHeat = house.fuse.Heat();
  moment.hasFuseTripped = house.fuse.HasTripped();
  moment.highestHeat = house.highestHeat;
  moment.loadWatt = Watt(house.load, meter.milliVolt);
  moment.generationWatt = Watt(house.generation, meter.milliVolt);
  moment.vehicleWatt = Watt(house.vehicle, meter.milliVolt);
  moment.gridWatt = meter.TotalWatt();
  moment.surplusWatt = moment.vehicleWatt - moment.gridWatt;
  const CChargePoint::SView vehicle = mStation.Peers().ChargePoint().View();
  moment.vehicleState = vehicle.state;
  moment.isStopped = vehicle.stopped;
  moment.cable = mStation.Peers().Adac().PpState();
  NoteSetpoint(moment);
  moment.setpointWatt = SetpointWatt(moment, meter.milliVolt);
  return moment;
}

void CStationObserver::NoteSetpoint(SStationMoment& moment) {
  const auto arrival = mStation.Peers().BasicCharge().LastArrival();
  if (!arrival) return;
  if (mExplained != arrival->when) {
    const auto limits = mCurrentControl.GetLimits({});
    mSource = limits.value.current_source();
    mPhaseSource = limits.value.phase_source();
    if (limits.IsOk()) mExplained = arrival->when;
  }
  moment.setpointMilliAmpere = arrival->milliAmpere;
  moment.setpointPhases = arrival->phases;
  moment.source = mSource;
  moment.phaseSource = mPhaseSource;
}

std::optional<std::int32_t> CStationObserver::LimitOf(ipc::ECurrentControlSource source) {
  const auto limits = mCurrentControl.GetLimits({});
  for (const auto& limit : limits.value.limits()) {
    if (limit.source() == source) return limit.limit();
  }
  return std::nullopt;
}
