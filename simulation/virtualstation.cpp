#include "simulation/virtualstation.h"

#include <chrono>
#include <filesystem>
#include <utility>

#include "simulation/settingschange.h"
#include "simulation/simulatedctmeter.h"
#include "simulation/simulatedrs485line.h"

namespace {

const std::filesystem::path kRoot = "/station";
/// Nobody restarts the service by itself here.
constexpr Milliseconds kWatchPeriod{10000};

void Write(CMemoryFiles& files, const char* name, const std::string& content) {
  if (!content.empty()) files.Write(kRoot / "etc" / name, content);
}

}  // namespace

CVirtualStation::CVirtualStation(const SFiles& files, SVirtualWorld world)
    : mSharedScheduler(std::move(world.scheduler)),
      mNetwork(std::make_shared<Rpc::CInProcessNetwork>(mScheduler)),
      mAddresses(mFiles, kRoot),
      mPeerHost(Rpc::InProcessBackend(mNetwork), mFiles, kRoot),
      mStation(mScheduler, mPeerHost),
      mModbusUnit(mStation.Meter(), *FindModbusMeterModel(kModbusModel)),
      mHomeWizard(std::make_shared<CSimulatedHomeWizard>(mScheduler)),
      mSupervisor(mScheduler, mPeerHost, kWatchPeriod),
      mPlayer(mScheduler, mPeerHost, mStation, mSupervisor,
              [this](const Json::Value& values) { ChangeSettings(values); }),
      mServiceHost(Rpc::InProcessBackend(mNetwork), mFiles, kRoot),
      mStarted(mScheduler.Now()) {
  Write(mFiles, "hwinfo.json", files.hwinfo);
  Write(mFiles, "settings.json", files.settings);
  Write(mFiles, "secrets.json", files.secrets);
  mHomeWizard->Place({.address = kMeterAddress}, mStation.Meter());
  mService = std::make_unique<CCurrentcontrol>(
      kRoot.string(), CCurrentcontrol::SEnvironment{.scheduler = mScheduler,
                                                    .files = mFiles,
                                                    .host = mServiceHost,
                                                    .meters = Meters(),
                                                    .group = std::move(world.group)});
}

SMeterAccess CVirtualStation::Meters() {
  return {.createCtMeter = [this] { return std::make_unique<CSimulatedCtMeter>(mStation.Chip()); },
          .createRs485 =
              [this](const SRs485Line&) {
                return std::make_shared<CSimulatedRs485Line>(mScheduler, mStation.Meter());
              },
          .createHttpClient = mHomeWizard->Clients(),
          .discovery = mHomeWizard,
          .modbus = mModbus};
}

CVirtualStation::~CVirtualStation() {
  mPlayer.Stop();
  mSupervisor.Stop();
  mService.reset();
  mStation.Stop();
  mPeerHost.Stop();
}

void CVirtualStation::Start() {
  mPeerHost.Start();
  mStation.Start();
  mStarted = mScheduler.Now();
  mService->Start();
  mSupervisor.Start();
  mSupervisor.SetGoal(CSupervisor::EGoal::Enabled);
}

void CVirtualStation::Play(const SScenario& scenario) {
  mPlayer.Play(scenario);
}

void CVirtualStation::ChangeSettings(const Json::Value& values) {
  ::ChangeSettings(mFiles, SettingsPath(), values);
}

void CVirtualStation::RunFor(Milliseconds span) {
  mScheduler.RunFor(span);
}

void CVirtualStation::Terminate() {
  mSupervisor.SetGoal(CSupervisor::EGoal::Terminated);
  mService->AwaitEnd();
}

void CVirtualStation::StartSecondInstance() {
  Rpc::AppCommunicationHost<Rpc::InProcessBackend> host(Rpc::InProcessBackend(mNetwork), mFiles, kRoot);
  CCurrentcontrol(kRoot.string(), {.scheduler = mScheduler, .files = mFiles, .host = host}).Start();
}

Milliseconds CVirtualStation::Elapsed() const {
  return std::chrono::duration_cast<Milliseconds>(mScheduler.Now() - mStarted);
}

void CVirtualStation::SetFault(const std::string& service, Rpc::CInProcessNetwork::EFault fault) {
  mNetwork->SetFault(mAddresses.Of(service), fault);
}

std::string CVirtualStation::SettingsPath() {
  return (kRoot / "etc" / "settings.json").string();
}
