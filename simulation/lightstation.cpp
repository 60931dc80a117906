#include "simulation/lightstation.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/rpc/client.h"
#include "src/components/loadbalancing/lbphasehandler.h"
#include "src/components/loadbalancing/loadbalancing.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "src/diagnosticssignals/diagnosticssignals.h"

namespace {

constexpr float kMilliAmperePerAmpere = 1000;
constexpr std::int32_t kMilliVolt = 230000;

}  // namespace

CLightStation::CLightStation(SGroupPlace place)
    : mPlace(std::move(place)),
      mSettings(std::make_shared<CMemorySettings>(mPlace.settings)),
      mConfig(std::make_shared<CLoadBalancingConfig>(mSettings,
                                                     std::make_shared<CMemorySettings>(mPlace.hwinfo),
                                                     std::make_shared<CMemorySettings>(mPlace.secrets))),
      mRotation(CLbPhaseRotation::Parse(mConfig->GetPhaseRotation()).value()),
      mFuse(mPlace.fuseAmpere == 0 ? nullptr : std::make_shared<CLightFuse>(mPlace.fuseAmpere)),
      // Nobody takes what it reports.
      mDiagnostics(std::make_shared<CDiagnosticsCommClient>(*mPlace.scheduler, nullptr)),
      mChargePoint(*mPlace.scheduler) {
  mChargePoint.Change([](CVehicle& vehicle) {
    vehicle.Disconnect();
    vehicle.SetSupplied(false);
  });
}

CLightStation::~CLightStation() = default;

void CLightStation::PowerOn() {
  const auto signal = [this](const CSignalDefinition& definition) {
    return std::make_shared<CDiagnosticsSignal>(definition, mDiagnostics);
  };
  const StationMeter meter = [this] { return std::optional(ReadMeter()); };
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.SetSupplied(true); });
  mPhaseHandler = std::make_shared<CLbPhaseHandler>(*mPlace.scheduler, meter);
  mGroup = std::make_unique<CLoadBalancing>(
      mPhaseHandler, mConfig, meter, mFuse, nullptr,
      CLoadBalancing::SSurroundings{
          .scheduler = *mPlace.scheduler,
          .access = mPlace.access,
          .line = {},
          .signals = {.role = signal(DiagnosticsSignals::kLoadBalancingRole),
                      .undiscovered = signal(DiagnosticsSignals::kLoadBalancingUndiscovered)},
          .setLimit = [this](float ampere) {
            TakeLimit(static_cast<std::uint32_t>(std::llround(ampere * kMilliAmperePerAmpere)));
          }});
  mGroup->Init();
  mGroup->Enable();
}

void CLightStation::PowerOff() {
  mGroup.reset();
  mPhaseHandler.reset();
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.SetSupplied(false); });
  TakeLimit(0);
}

void CLightStation::TakeLimit(std::uint32_t milliAmpere) {
  if (std::exchange(mLimit, milliAmpere) == milliAmpere) return;
  mChargePoint.Offer(milliAmpere, CVehicle::kPhases);
  if (mPlace.onLimit) mPlace.onLimit();
}

void CLightStation::Plug(const CVehicle::SProperties& properties) {
  mChargePoint.Change([&properties](CVehicle& vehicle) {
    vehicle.SetProperties(properties);
    vehicle.Connect();
  });
}

void CLightStation::Unplug() {
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.Disconnect(); });
}

void CLightStation::SetFull(bool full) {
  mChargePoint.Change([full](CVehicle& vehicle) { vehicle.SetFull(full); });
}

void CLightStation::SetHouse(const std::array<std::int32_t, 3>& milliAmpere) {
  if (!mFuse) return;
  const LbPhaseCurrents drawn = Drawn();
  std::array<std::int64_t, 3> total{};
  for (std::size_t phase = 0; phase < total.size(); ++phase)
    total[phase] = std::int64_t{milliAmpere[phase]} + drawn[phase];
  mFuse->Measure(total);
}

void CLightStation::ChangeSettings(const Json::Value& values) {
  mSettings->Change(values);
}

LbPhaseCurrents CLightStation::Drawn() const {
  return mRotation.ToSupply(mChargePoint.View().draw);
}

SStationMeterData CLightStation::ReadMeter() const {
  SStationMeterData data;
  std::ranges::transform(mChargePoint.View().draw, data.milliAmpere.begin(),
                         [](std::uint32_t milliAmpere) { return static_cast<std::int32_t>(milliAmpere); });
  data.milliVolt.fill(kMilliVolt);
  return data;
}

SLbGroupView CLightStation::Describe() {
  return mGroup->Describe().value_or(SLbGroupView{});
}
