#pragma once

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/worker/worker.h"
#include "simulation/scriptedleader.h"
#include "tools/grouplead/groupevents.h"
#include "tools/grouplead/leadermedium.h"
#include "tools/grouplead/stationwatch.h"

/// Leads a group and shows what becomes of it.
class CGroupLead {
 public:
  static constexpr Milliseconds kLookPeriod{500};
  static constexpr Milliseconds kJsonPeriod{1000};

  struct SSettings {
    std::string medium{};  ///< for people: "group 7 on eth0"
    CScriptedLeader::SSettings leader{};
    std::vector<std::unique_ptr<CStationWatch>> watches{};
    std::optional<Milliseconds> runFor{};
    bool json = false;                          ///< instead of events
    std::optional<Milliseconds> tablePeriod{};  ///< none: no table
  };

  /// What has become of the group.
  struct SOutcome {
    bool hasLed = false;                       ///< any station, ever
    std::vector<LbSerialNumber> neverHeard{};  ///< though named: as members, to be watched, or in the script
    std::vector<LbSerialNumber> neverAnswered{};  ///< to a limit, though found
  };

  /// Lines of JSON go to the journal, unless it is null. The medium's parts are used by nobody else.
  CGroupLead(IScheduler& scheduler, SLeaderMedium medium, SSettings settings, std::ostream& out,
             std::ostream* journal);

  /// Returns some time after `end` is set, by the caller or because time is over. Throws CCannotLead. Once.
  SOutcome Run(IEvent& end);

 private:
  // On the worker.
  void Look();
  void WriteJson();
  // After it.
  SOutcome Outcome() const;

  const IClock& mClock;
  const SSettings mSettings;
  std::ostream& mOut;      // bound to the worker
  std::ostream* mJournal;  // as well
  const TimePoint mBegin;
  CScriptedLeader mLeader;
  CGroupEvents mEvents;
  SGroupView mView;
  bool mHasLed = false;
  CWorker mWorker;  // stops before the rest goes
};
