#include "tools/stationsim/stationsimulator.h"

#include <utility>

#include <fmt/ostream.h>

#include "simulation/settingschange.h"
#include "tools/stationsim/stationtable.h"

namespace {

constexpr Milliseconds kTablePeriod{1000};

Milliseconds Between(TimePoint earlier, TimePoint later) {
  return std::chrono::duration_cast<Milliseconds>(later - earlier);
}

}  // namespace

CStationSimulator::CStationSimulator(SSettings settings, IScheduler& scheduler, Rpc::ICommunicationHost& host,
                                     std::ostream& out)
    : mSettings(std::move(settings)),
      mScheduler(scheduler),
      mHost(host),
      mOut(out),
      mTable(out, mSettings.isTerminal),
      mStation(scheduler, host),
      mSupervisor(scheduler, host),
      mPlayer(scheduler, host, mStation, mSupervisor,
              [this](const Json::Value& values) {
                if (!mSettings.root.empty())
                  ::ChangeSettings(mFiles, mSettings.root / "etc" / "settings.json", values);
              }),
      mPeer(host.CreateClient("CurrentControl")),
      mCurrentControl(mPeer),
      mBegin(scheduler.Now()),
      mWorker(scheduler, "Display") {
  mPeer->ExpectAbsence(true);  // the table says so itself
  mStation.House().FitFuse(mSettings.fuseMilliAmpere);
  if (!mSettings.root.empty()) {
    if (mSettings.meters.Has(SettingsKeys::kCurrentTransformers))
      mChipTree.emplace(scheduler, mStation.Chip(), mSettings.root);
    mMeters.emplace(scheduler, mStation.Meter(), mSettings.meters, mSettings.root);
  }
  // The table of a terminal shows it, and a line of its own would stand in the middle of it.
  if (mSettings.table && mSettings.isTerminal) return;
  mStation.BasicCharge().OnArrival([this](const CSimulatedBasicCharge::SArrival& arrival) {
    mWorker.NonBlockingCall([this, arrival] { TellArrival(arrival); });
  });
}

void CStationSimulator::Run(IEvent& end) {
  Start();
  CCallHandle showing;
  CCallHandle ending;
  if (mSettings.table) showing = mWorker.AddCall([this] { ShowTable(); }, kTablePeriod, kTablePeriod);
  if (mSettings.runFor) ending = mWorker.AddCall([&end] { end.Set(); }, *mSettings.runFor);
  end.Wait();
  showing.Cancel();
  LetCurrentControlEnd();
  if (mChipTree) mChipTree->Stop();
  if (mMeters) mMeters->Stop();
  mStation.Stop();
  mHost.Stop();
  mWorker.Stop();
}

void CStationSimulator::Start() {
  if (mMeters) mMeters->Start();  // first, since it may be impossible
  mHost.Start();
  mWorker.Start();
  mStation.Start();
  if (mChipTree) mChipTree->Start();
  mSupervisor.Start();
  mSupervisor.SetGoal(CSupervisor::EGoal::Enabled, [this] {
    if (mSettings.scenario) mPlayer.Play(*mSettings.scenario);
  });
}

void CStationSimulator::TellArrival(const CSimulatedBasicCharge::SArrival& arrival) {
  fmt::print(mOut, "setpoint {}: {} mA on {} phase{}\n", arrival.taken ? "arrived" : "refused",
             arrival.milliAmpere, arrival.phases, arrival.phases == 1 ? "" : "s");
  mOut.flush();
}

void CStationSimulator::ShowTable() {
  auto limits = mCurrentControl.GetLimits({});
  const TimePoint now = mScheduler.Now();
  SStationView view{.time = Between(mBegin, now),
                    .limits = {},
                    .arrival = mStation.BasicCharge().LastArrival(),
                    .arrivalAge = {},
                    .vehicle = mStation.ChargePoint().View().state,
                    .house = mStation.House().View(),
                    .hasTransformers = mSettings.meters.Has(SettingsKeys::kCurrentTransformers),
                    .chip = mStation.Chip().Configuration(),
                    .offers = {},
                    .fate = mStation.Meter().Fate()};
  if (mMeters) view.offers = mMeters->Offers();
  if (limits.IsOk()) view.limits = std::move(limits.value);
  if (view.arrival) view.arrivalAge = Between(view.arrival->when, now);
  mTable.Show(FormatStation(view) + "\n");
}

/// The station's services stay while it ends: its last setpoint goes to charge control.
void CStationSimulator::LetCurrentControlEnd() {
  // The supervisor may start the scenario, the scenario may give the supervisor orders.
  mSupervisor.Stop();
  mPlayer.Stop();
  const auto gone = mScheduler.CreateEvent();
  mSupervisor.Start();
  mSupervisor.SetGoal(CSupervisor::EGoal::Terminated, [&gone] { gone->Set(); });
  const CCallHandle givingUp = mWorker.AddCall([&gone] { gone->Set(); }, kFarewell);
  gone->Wait();
  mSupervisor.Stop();
}
