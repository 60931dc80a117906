#pragma once

#include <string>
#include <variant>

#include "platform/utility/backoff.h"
#include "src/components/measurementsources/metersource.h"

/// A meter that has to be asked, once per sampling period. After a failure it is asked again after pauses
/// that grow up to `kLongestPause`, so that one that is down costs little.
class CPolledMeter : public CMeterSource {
 public:
  static constexpr Milliseconds kLongestPause{30000};

  /// False, and an error state, when the parameters are no good. Does not wait for the meter.
  bool Init() override;
  void DeInit() override;

 protected:
  /// A reading or why there is none.
  using Answer = std::variant<SMeterReading, std::string>;

  CPolledMeter(IScheduler& scheduler, const std::string& name, std::string label, const SPeriods& periods);

  // On the worker.

  /// Looks at the parameters. What is wrong with them; empty: nothing.
  virtual std::string Prepare() = 0;
  /// Asks the meter. Takes a few seconds at most.
  virtual Answer Poll() = 0;
  /// Asks after this pause, and then once per period. What `Poll` itself asks for is overruled by a failure.
  void PollAfter(Milliseconds pause);

  // While the worker stands still.

  /// Gives connections up.
  virtual void Disconnect() = 0;

 private:
  void Turn();

  const Milliseconds mPeriod;
  CBackOff mBackOff;
  CCallHandle mPolling;
};
