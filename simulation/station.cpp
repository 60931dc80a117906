#include "simulation/station.h"

#include <utility>

CStation::CStation(IScheduler& scheduler, Rpc::ICommunicationHost& host)
    : mChargePoint(scheduler),
      mHouse(scheduler, mChargePoint),
      mChip([this] { return mHouse.AtTheConnection(); }),
      mHouseMeter(scheduler, mHouse),
      mBasicCharge(std::make_shared<CSimulatedBasicCharge>(scheduler, mChargePoint)),
      mClock(scheduler),
      mBegin(scheduler.Now()),
      mWorker(scheduler, "Station") {
  mChargePoint.OnChange([this] {
    mWorker.NonBlockingCall([this] {
      mHouse.Look();
      Watch();
    });
  });
  host.RegisterService("Adac", ipc::CreateService(std::shared_ptr<ipc::IAdac>(mAdac)));
  host.RegisterService("NetM", ipc::CreateService(std::shared_ptr<ipc::INetM>(mNetM)));
  host.RegisterService("SafetyMcuComm",
                       ipc::CreateService(std::shared_ptr<ipc::ISafetyMcuComm>(mSafetyMcuComm)));
  host.RegisterService("ChargeControlBasicCharge",
                       ipc::CreateService(std::shared_ptr<ipc::IBasicCharge2>(mBasicCharge)));
  host.RegisterService("Meter", ipc::CreateService(std::shared_ptr<ipc::IMeter>(mMeter)));
  host.RegisterService("Diagnostics", ipc::CreateService(std::shared_ptr<ipc::IDiagnostics>(mDiagnostics)));
}

void CStation::Start() {
  mBegin = mClock.Now();
  mWorker.Start();
  mBeating = mWorker.AddCall([this] { Beat(); }, Milliseconds{0}, kMeterPeriod);
}

void CStation::Stop() {
  mWorker.Stop();
}

void CStation::PlugCable(ipc::EPpState rating) {
  // The pilot knows the cable before the vehicle can ask for current.
  mAdac->SetPpState(rating);
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.Connect(); });
}

void CStation::PullCable() {
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.Disconnect(); });
  mAdac->SetPpState(ipc::EPpDisconnect);
}

void CStation::Look() {
  Follow(mChargePoint.View());
}

void CStation::Beat() {
  const CChargePoint::SView view = mChargePoint.View();
  Follow(view);
  mMeter->Measure(view.draw);
}

void CStation::Follow(const CChargePoint::SView& view) {
  mBasicCharge->TellChargingState(view.state);
  const bool isTooMuch = mHouse.Look();
  if (isTooMuch || !view.steady) return Watch();
  if (std::exchange(mIsWatching, false)) mWatching.Cancel();
}

/// Looks every so often until nothing changes by time alone.
void CStation::Watch() {
  if (std::exchange(mIsWatching, true)) return;
  const auto since = std::chrono::duration_cast<Milliseconds>(mClock.Now() - mBegin);
  mWatching = mWorker.AddCall([this] { Look(); }, CHouse::kPeriod - since % CHouse::kPeriod, CHouse::kPeriod);
}
