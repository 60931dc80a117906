#pragma once

#include <cstdint>
#include <optional>

#include "platform/worker/scheduler.h"
#include "src/components/loadbalancing/lbmessage.h"
#include "src/components/loadbalancing/leader/lbprefixwalk.h"

/// Looks for stations that nobody leads. On a network each answer says who it is, and a call that many answer
/// is followed by calls that fewer answer, for those whose answers were lost in the crowd. On a line an
/// answer, or the noise of several, says only that somebody is there, so that each is found bit by bit. One
/// thread.
class CLbDiscovery {
 public:
  /// Answers to one call that may get in each other's way.
  static constexpr std::uint32_t kCrowd = 8;
  /// On a line others may answer that much later than the first one, and the next call must not meet them.
  static constexpr Milliseconds kNoise{20};

  explicit CLbDiscovery(bool isLine);

  /// Looks for everybody, unless it does so already.
  void Begin();
  /// Whether a call is to be sent.
  bool IsToCall() const { return !mAnswersUntil && !mWalk.IsOver(); }
  LbMessages::SDiscovery Call(TimePoint now, Milliseconds responseTime);
  /// Until then no other message may be sent on a line; nothing: no call waits for answers.
  std::optional<TimePoint> AnswersUntil() const { return mAnswersUntil; }
  /// Somebody has answered, or there was noise.
  void TakeAnswer(TimePoint now);
  /// The time for answers is over. Whom that found on a line; nothing: nobody yet.
  std::optional<LbSerialNumber> Close();

 private:
  const bool mIsLine;
  CLbPrefixWalk mWalk;
  std::optional<TimePoint> mAnswersUntil;
  std::uint32_t mAnswers = 0;  ///< to the newest call
};
