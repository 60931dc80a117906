#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/utility/backoff.h"
#include "src/communication/icommunicationlistener.h"
#include "src/components/measurementsources/ip1parser.h"
#include "src/components/measurementsources/metersource.h"
#include "src/components/measurementsources/p1framing.h"

/// A smart meter whose P1 port is on the station's serial line, through a P1 extender. It sends telegrams by
/// itself: they are parsed on the line's thread, and the worker takes over what they hold.
class CP1Extender final : public CMeterSource {
 public:
  using CMeterSource::SPeriods;

  /// Without a good telegram for that long, three of a slow meter's, it is in error.
  static constexpr Milliseconds kSilence{30000};
  /// The pauses before a line that cannot be had is tried again.
  static constexpr Milliseconds kFirstPause{1000};
  static constexpr Milliseconds kLongestPause{30000};

  /// The line is used by nobody else.
  CP1Extender(IScheduler& scheduler, std::shared_ptr<ICommunicationListener> line,
              std::unique_ptr<IP1Parser> parser, std::string label, const SPeriods& periods);
  ~CP1Extender() override;

  /// False, and an error state, when there is no line now; it is tried again until `DeInit`.
  bool Init() override;
  void DeInit() override;
  /// What the last telegram held. Any thread.
  void DumpLastReceivedData() override;

 private:
  // On the worker.
  bool StartLine();

  // On the line's thread.
  void Receive(std::vector<std::uint8_t>& data);
  void HandleTelegram(std::span<const std::uint8_t> telegram);
  void HandleEndlessTelegram();

  const std::shared_ptr<ICommunicationListener> mLine;
  const std::unique_ptr<IP1Parser> mParser;

  // Used on the line's thread, or while the line is stopped.
  CP1Framing mFraming;
  std::size_t mUnframed = 0;    // bytes since the newest telegram
  bool mIsEndlessTold = false;  // since the newest good telegram

  // Used on the worker, or while it stands still.
  CBackOff mBackOff{kFirstPause, kLongestPause};
  CCallHandle mNextAttempt;
};
