#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "platform/worker/scheduler.h"
#include "src/components/loadbalancing/lbserialnumber.h"
#include "src/components/loadbalancing/leader/lbvehicle.h"

/// Who comes first when there is not enough for everybody, so that each has its turn. One thread.
///
/// In front are those who are served, the newest first: where the supply falls, the one that has been served
/// longest makes room. It stays right behind them for a turn's time: while the supply goes up and down it is
/// always the same one that does, not one after the other. Then come those who wait, the longest waiting
/// first, and last those who rest: each in turn holds the door open for a while, for the vehicle that may
/// come.
///
/// When somebody has been waiting for a turn's time, and so long after the turn before, the longest waiting
/// one goes to the very front. With n stations nobody waits for more than n turns. While all are served the
/// order stays. A turn of one who rests is short, unless it draws: nobody makes room for long where no
/// vehicle is.
class CLbTurns {
 public:
  /// Between one who has to make room for another and the next one.
  static constexpr Milliseconds kTurn{15 * 60 * 1000};
  /// Waiting goes on when all were served in between, but for less than that: too short to charge.
  static constexpr Milliseconds kNoWait{2 * 60 * 1000};
  /// One that rests holds the door for so long, when others who rest have none.
  static constexpr Milliseconds kDoor{CLbVehicle::kTimeToStart};
  /// And for so long in a turn: the vehicle that makes room for it has to come down first.
  static constexpr Milliseconds kDoorInTurn{CLbVehicle::kTimeToFollow + CLbVehicle::kTimeToStart};

  struct SStation {
    LbSerialNumber serialNumber{};
    CLbVehicle::EWish wish = CLbVehicle::EWish::Unknown;
    bool isServed = false;  ///< was given at least the least current by the newest distribution
    bool isKept = false;    ///< that much is kept for it anyway, and nobody has to make room for it
    bool isOffer = false;   ///< the result: it takes no part in sharing, and gets what is left
  };

  /// One that is not there for less than that, as it was silent, has its past when it is back.
  static constexpr Milliseconds kForgotten{kTurn};

  /// Puts the stations into their order. Of those who rest only the first one is no offer. Each has a serial
  /// number of its own.
  void Arrange(std::vector<SStation>& stations, TimePoint now);

 private:
  struct SPast {
    bool isServed = false;
    bool isResting = false;
    TimePoint since{};                ///< when it got its place, or lost it, or had a turn that was of no use
    std::optional<TimePoint> rank{};  ///< when it was served first; kept when it is out for less than a turn
    bool hasClaim = false;            ///< the supply fell and took its place, or kept it from its turn
    TimePoint seen{};
    bool isThere = true;
  };
  struct SDoor {
    LbSerialNumber serialNumber;
    TimePoint since;
  };
  struct SKey {
    std::uint8_t group;
    TimePoint::rep within;
    LbSerialNumber serialNumber;
    auto operator<=>(const SKey&) const = default;
  };

  void Note(const SStation& station, TimePoint now);
  void GiveTurns(TimePoint now);
  bool IsTurnDue(TimePoint now);
  void GoOnWithDoor(TimePoint now);
  /// Of those who are there, or rest, too; nothing: nobody waits since before then.
  std::optional<LbSerialNumber> LongestWaiting(bool isRestingOnly, TimePoint before) const;
  bool DoesRestingWait() const;
  SKey KeyOf(const LbSerialNumber& serialNumber, bool doesRestingWait, TimePoint now) const;

  std::map<LbSerialNumber, SPast> mPast;
  std::optional<TimePoint> mTurn;                 // the newest one, or when somebody began to wait
  std::optional<TimePoint> mWaited;               // when somebody did last
  std::optional<LbSerialNumber> mInFront;         // whose turn it is now
  std::optional<SDoor> mDoor;                     // in a turn of those who rest
  std::vector<std::pair<SKey, SStation>> mOrder;  // kept so that the next one takes no memory
};
