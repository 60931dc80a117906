#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>

#include "platform/worker/scheduler.h"
#include "src/components/loadbalancing/leader/lbsharerequest.h"
#include "src/components/loadbalancing/leader/lbslowchange.h"

/// What the leader makes of a station's answers: whether a vehicle draws there, on which phases, and how much
/// it can use. Of the report it believes only that a phase discovery has just ended; the rest it sees in the
/// currents. One thread.
class CLbVehicle {
 public:
  enum class EWish : std::uint8_t {
    Unknown,  ///< it has not had the time to show
    Draws,    ///< or did so until it was stopped
    Rests     ///< had the time, and draws nothing: there is none, or it is full
  };

  /// The slowest vehicles need 26 s to follow a limit; only then it is known what they do with it.
  static constexpr Milliseconds kTimeToFollow{30000};
  /// What was not taken up within this time is not wanted.
  static constexpr Milliseconds kTimeToStart{40000};
  /// One that takes all that it could use may have all there is again, but not more often; in between it gets
  /// more step by step.
  static constexpr Milliseconds kTimeToGrow{5 * 60 * 1000};
  /// A vehicle's phases are known when no other one has joined them for so long.
  static constexpr Milliseconds kTimeToFindPhases{10000};
  /// No station has more than 80 A: an answer with a current above this one, in mA, says nothing, and counts
  /// as if the vehicle drew all that the limit allows. Only that what a meter shows slightly below zero, read
  /// as a signed number not below minus this one, is no current.
  static constexpr std::uint32_t kNonsenseMilliAmpere = 100000;

  /// The station's newest answer, and the limit in mA that was in force when it gave it.
  void Take(const SLbLoad& load, std::uint32_t limitMilliAmpere, TimePoint now);
  /// The station fell silent: what was known of the vehicle does not count any more.
  void Forget() { *this = CLbVehicle(); }

  EWish Wish() const { return mWish; }
  /// All three while they are not known. Forgotten when nothing draws: the next vehicle may be another one.
  LbPhases Phases() const { return mArePhasesKnown ? mPhases : kLbAllPhases; }
  bool ArePhasesKnown() const { return mArePhasesKnown; }
  /// That it can use, in mA; at least the least current. One that rests is given no more, until it draws. One
  /// that takes less than it may for `kTimeToFollow` can use a little more than it takes; when it takes that,
  /// too, still more.
  std::uint32_t Most() const;
  const LbPhaseCurrents& Drawn() const { return mDrawn; }
  /// What it draws on phases where it was beyond any limit it was given, for longer than a vehicle needs to
  /// follow, and has not come down to that since; zeros: it keeps to its limits.
  const LbPhaseCurrents& Overdrawn() const { return mOverdrawn; }
  /// Whether the newest answer said nothing of the currents.
  bool IsNonsense() const { return mIsNonsense; }

 private:
  static constexpr std::uint32_t kUnlimited = std::numeric_limits<std::uint32_t>::max();

  /// How it uses what it may draw.
  struct SUse {
    TimePoint since;
    std::uint32_t lowestLimit;
    std::uint32_t highest;  ///< that it drew on any phase
  };

  struct SOverdraw {
    std::optional<TimePoint> since{};
    std::optional<std::uint32_t> ignored{};  ///< the limit that it did not come down to
  };

  void NoteWish(std::uint32_t limit, TimePoint now);
  void NotePhases(bool isDiscoveryDone, TimePoint now);
  void NoteUse(std::uint32_t limit, TimePoint now);
  void NoteOverdraw(std::uint32_t limit, TimePoint now);

  LbPhaseCurrents mDrawn{};
  bool mIsNonsense = false;

  EWish mWish = EWish::Unknown;
  std::optional<TimePoint> mIdleSince;  // though it may draw

  LbPhases mPhases = 0;  // that have drawn since it began to draw
  std::optional<TimePoint> mPhasesSince;
  bool mArePhasesKnown = false;
  bool mWasDiscoveryDone = true;  // may be what the vehicle before left

  std::uint32_t mMost = kUnlimited;
  std::optional<TimePoint> mGrown;  // when it used up what it could use
  std::optional<SUse> mUse;

  CLbSlowChange mLimitOfLate{CLbSlowChange::ESlow::Fall, kTimeToFollow};
  std::array<SOverdraw, 3> mOver{};
  LbPhaseCurrents mOverdrawn{};
};
