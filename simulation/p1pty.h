#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/worker/worker.h"
#include "simulation/housemeter.h"
#include "simulation/linkedpty.h"

/// A serial line that programs can open, with the house's meter at its end: a pseudo-terminal to which
/// `<root>/dev/ttymxc4` is a link, and a telegram per second. While the meter is away there is neither.
///
/// Where there is something of others in the link's place, there is an error line and no meter, until that is
/// gone.
class CP1Pty {
 public:
  static constexpr Milliseconds kInterval{1000};
  static constexpr std::string_view kDevice = "dev/ttymxc4";

  /// The meter must outlive it. Tells nothing before `Start`.
  CP1Pty(IScheduler& scheduler, CHouseMeter& meter, const std::filesystem::path& root,
         Milliseconds interval = kInterval);
  ~CP1Pty();

  /// False when the line cannot be made now; it is tried again each interval.
  bool Start();
  /// Removes the link.
  void Stop();

  /// What programs open. Its folder is made if it is missing.
  const std::filesystem::path& Path() const { return mLink; }

 private:
  bool Turn();
  bool Open();
  void Send(std::string_view telegram) const;

  CHouseMeter& mMeter;
  const std::filesystem::path mLink;
  const Milliseconds mInterval;

  // Used on the worker, or while it stands still.
  CLinkedPty mPty;
  std::string mFailure;  // of the newest attempt; empty: none
  CCallHandle mTurns;

  CWorker mWorker;  // stops before the rest goes
};
