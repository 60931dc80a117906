#include "tools/grouplead/grouplead.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

namespace {

CScriptedLeader::SSettings LeaderSettings(const CGroupLead::SSettings& settings) {
  CScriptedLeader::SSettings leader = settings.leader;
  for (const auto& watch : settings.watches) leader.stations.push_back(watch->SerialNumber());
  return leader;
}

/// Everybody whom the leader was told of.
std::set<LbSerialNumber> Named(const CScriptedLeader::SSettings& leader) {
  std::set<LbSerialNumber> named(leader.stations.begin(), leader.stations.end());
  for (const auto& event : leader.script.events) {
    if (event.order.station) named.insert(*event.order.station);
  }
  return named;
}

}  // namespace

CGroupLead::CGroupLead(IScheduler& scheduler, SLeaderMedium medium, SSettings settings, std::ostream& out,
                       std::ostream* journal)
    : mClock(scheduler),
      mSettings(std::move(settings)),
      mOut(out),
      mJournal(journal),
      mBegin(scheduler.Now()),
      mLeader(scheduler, std::move(medium.communication), std::move(medium.parser),
              LeaderSettings(mSettings)),
      mWorker(scheduler, "Display") {}

CGroupLead::SOutcome CGroupLead::Run(IEvent& end) {
  if (!mLeader.Start()) throw CCannotLead(mSettings.medium + ": cannot talk there, the line above says why");
  mWorker.Start();
  // Of calls that are due at the same time the first one goes first.
  std::vector<CCallHandle> calls;
  calls.push_back(mWorker.AddCall([this] { Look(); }, kLookPeriod, kLookPeriod));
  calls.push_back(mWorker.AddCall([this] { WriteJson(); }, kJsonPeriod, kJsonPeriod));
  if (const auto period = mSettings.tablePeriod)
    calls.push_back(
        mWorker.AddCall([this] { mOut << '\n'
                                      << FormatGroup(mView) << std::endl; }, *period, *period));
  if (mSettings.runFor) calls.push_back(mWorker.AddCall([&end] { end.Set(); }, *mSettings.runFor));
  end.Wait();
  mWorker.Stop();
  mLeader.Stop();
  return Outcome();
}

CGroupLead::SOutcome CGroupLead::Outcome() const {
  auto missing = Named(LeaderSettings(mSettings));
  SOutcome outcome{.hasLed = mHasLed};
  for (const auto& [row, isWatched, limits] : mView.stations) {
    if (!row.heardAgo) continue;
    missing.erase(row.serialNumber);
    if (row.toldMilliAmpere && !row.drawnMilliAmpere) outcome.neverAnswered.push_back(row.serialNumber);
  }
  outcome.neverHeard.assign(missing.begin(), missing.end());
  return outcome;
}

void CGroupLead::Look() {
  mView = {.medium = mSettings.medium,
           .time = std::chrono::duration_cast<Milliseconds>(mClock.Now() - mBegin)};
  for (auto& row : mLeader.Rows()) {
    mHasLed |= row.state == CScriptedLeader::EState::Led;
    const auto watch = std::ranges::find_if(
        mSettings.watches, [&row](const auto& each) { return each->SerialNumber() == row.serialNumber; });
    const bool isWatched = watch != mSettings.watches.end();
    mView.stations.push_back({.row = std::move(row),
                              .isWatched = isWatched,
                              .limits = isWatched ? (*watch)->Limits() : std::nullopt});
  }
  if (!mSettings.json) mOut << mEvents.Take(mView) << std::flush;
}

void CGroupLead::WriteJson() {
  if (mSettings.json) mOut << GroupToJson(mView) << std::endl;
  if (mJournal != nullptr) *mJournal << GroupToJson(mView) << std::endl;
}
