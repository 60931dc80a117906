#include "simulation/wholestation.h"

#include <algorithm>
#include <utility>

#include "platform/utility/jsontext.h"
#include "simulation/metersettings.h"
#include "src/components/settingskeys.h"

namespace {

constexpr std::uint32_t kHardwareAmpere = 32;
/// The supply that a group shares is not this station's to trip.
constexpr std::uint32_t kFuseThatHoldsMilliAmpere = 1000000;

Json::Value UsualHwinfo() {
  Json::Value values(Json::objectValue);
  values["HwMaxCurrent"] = kHardwareAmpere;
  values[std::string(SettingsKeys::kOneOrThreePhase)] = CVehicle::kPhases;
  values["HwHasSocket"] = false;
  return values;
}

Json::Value UsualSettings(std::uint32_t fuseAmpere) {
  Json::Value values(Json::objectValue);
  values["CurrentCtrlFixedChargeCurrentLimit"] = kHardwareAmpere;
  if (fuseAmpere == 0) return values;
  values["CurrentCtrlBopEnable"] = true;
  values["CurrentCtrlBopFuseRating"] = fuseAmpere;
  values[std::string(SettingsKeys::kBopSource)] = std::string(SettingsKeys::kModbusTcp);
  Json::Value parameters(Json::objectValue);
  parameters["type"] = CVirtualStation::kModbusModel;
  parameters["address"] = CVirtualStation::kMeterAddress;
  values[std::string(SettingsKeys::kBopSourceParameters)] = JsonText::ToLine(parameters);
  return values;
}

/// Keys that are null go.
void Change(Json::Value& object, const Json::Value& values) {
  for (const std::string& key : values.getMemberNames())
    values[key].isNull() ? object.removeMember(key) : void(object[key] = values[key]);
}

std::string FileWith(Json::Value usual, const Json::Value& values) {
  Change(usual, values);
  return JsonText::ToFile(usual);
}

// What a client of the station is told, as the station had it.

ELbStationState FromAnswer(ipc::EGroupStationState state) {
  switch (state) {
    case ipc::EGroupStationLeading:
      return ELbStationState::Leading;
    case ipc::EGroupStationLed:
      return ELbStationState::Led;
    case ipc::EGroupStationSilent:
      return ELbStationState::Silent;
    case ipc::EGroupStationRefused:
      return ELbStationState::Refused;
    default:
      return ELbStationState::Joining;
  }
}

LbPhaseCurrents FromAnswer(const ipc::MPhaseCurrents& milliAmpere) {
  return {milliAmpere.r(), milliAmpere.s(), milliAmpere.t()};
}

SLbStationView FromAnswer(const ipc::MGroupStation& station) {
  SLbStationView view{.serialNumber = ToLbSerialNumber(station.serial_number()).value_or(LbSerialNumber{}),
                      .address = station.address(),
                      .state = FromAnswer(station.state()),
                      .isOwn = station.is_own(),
                      .phases = static_cast<LbPhases>(station.phases()),
                      .isPhaseDiscovery = station.phase_discovery(),
                      .limitMilliAmpere = station.limit(),
                      .drawnMilliAmpere = FromAnswer(station.drawn()),
                      .fallbackMilliAmpere = station.fallback()};
  if (station.has_heard_ago_ms()) view.heardAgo = Milliseconds(station.heard_ago_ms());
  return view;
}

}  // namespace

CWholeStation::CWholeStation(SGroupPlace place)
    : mPlace(std::move(place)),
      mRotation(CLbPhaseRotation::Parse(mPlace.settings["PhaseRotation"].asString()).value()),
      mSettings(mPlace.settings) {}

void CWholeStation::PowerOn() {
  mStation.emplace(CVirtualStation::SFiles{.hwinfo = FileWith(UsualHwinfo(), mPlace.hwinfo),
                                           .settings = FileWith(UsualSettings(mPlace.fuseAmpere), mSettings),
                                           .secrets = JsonText::ToFile(mPlace.secrets)},
                   SVirtualWorld{.scheduler = mPlace.scheduler, .group = mPlace.access});
  mStation->Peers().BasicCharge().OnArrival([this](const CSimulatedBasicCharge::SArrival& arrival) {
    if (arrival.taken) TakeOffer(arrival.milliAmpere);
  });
  mStation->House().FitFuse(kFuseThatHoldsMilliAmpere);
  ShowVehicle();
  SetHouse(mHouse);
  mStation->Start();
}

void CWholeStation::PowerOff() {
  mStation.reset();
  TakeOffer(0);
}

void CWholeStation::TakeOffer(std::uint32_t milliAmpere) {
  if (std::exchange(mLimit, milliAmpere) != milliAmpere && mPlace.onLimit) mPlace.onLimit();
}

void CWholeStation::Plug(const CVehicle::SProperties& vehicle) {
  mVehicle = vehicle;
  ShowVehicle();
}

void CWholeStation::Unplug() {
  mVehicle.reset();
  mIsFull = false;
  ShowVehicle();
}

void CWholeStation::SetFull(bool full) {
  mIsFull = full;
  ShowVehicle();
}

void CWholeStation::ShowVehicle() {
  if (!mStation) return;
  mStation->Peers().ChargePoint().Change([this](CVehicle& vehicle) {
    if (!mVehicle) return vehicle.Disconnect();
    vehicle.SetProperties(*mVehicle);
    vehicle.Connect();
    vehicle.SetFull(mIsFull);
  });
}

void CWholeStation::SetHouse(const std::array<std::int32_t, 3>& milliAmpere) {
  mHouse = milliAmpere;
  if (!mStation || mPlace.fuseAmpere == 0) return;
  CHouse::Currents load{};
  CHouse::Currents generation{};
  for (std::size_t phase = 0; phase < mHouse.size(); ++phase) {
    load[phase] = static_cast<std::uint32_t>(std::max(mHouse[phase], 0));
    generation[phase] = static_cast<std::uint32_t>(std::max(-mHouse[phase], 0));
  }
  mStation->House().SetLoads(load);
  mStation->House().SetGeneration(generation);
}

void CWholeStation::ChangeSettings(const Json::Value& values) {
  Change(mSettings, values);
  if (mStation) mStation->ChangeSettings(values);
}

LbPhaseCurrents CWholeStation::Drawn() const {
  if (!mStation) return {};
  return mRotation.ToSupply(mStation->Peers().ChargePoint().View().draw);
}

SLbGroupView CWholeStation::Describe() {
  const auto answer =
      ipc::CCurrentControlClient(mStation->Clients().CreateClient("CurrentControl")).GetGroup({}).value;
  SLbGroupView view{.isLeader = answer.role() == ipc::EGroupRoleLeader,
                    .isSettling = answer.settling(),
                    .milliAmpere = FromAnswer(answer.capacity()),
                    .mostMilliAmpere = FromAnswer(answer.exposure()),
                    .unheard = answer.unheard()};
  for (const ipc::MGroupStation& station : answer.stations()) view.stations.push_back(FromAnswer(station));
  return view;
}
