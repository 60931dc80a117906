#include "simulation/station.h"

CStation::CStation(IScheduler& scheduler, Rpc::ICommunicationHost& host)
    : mChargePoint(scheduler),
      mHouse(scheduler, mChargePoint),
      mChip([this] { return mHouse.AtTheConnection(); }),
      mHouseMeter(scheduler, mHouse),
      mBasicCharge(std::make_shared<CSimulatedBasicCharge>(scheduler, mChargePoint)),
      mWorker(scheduler, "Station") {
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
  mWorker.Start();
  mLooking = mWorker.AddCall([this] { Look(); }, Milliseconds{0}, CHouse::kPeriod);
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
  const CChargePoint::SView view = mChargePoint.View();
  mBasicCharge->TellChargingState(view.state);
  mHouse.Look();
  if (mLooks++ % (kMeterPeriod / CHouse::kPeriod) == 0) mMeter->Measure(view.draw);
}
