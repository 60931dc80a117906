#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "platform/crypto/randomgenerator.h"
#include "platform/network/network.h"
#include "platform/utility/mutex.h"
#include "platform/worker/scheduler.h"

/// What the transport and its peers' endpoints share, and what endpoints that outlive the transport still
/// have. Any thread.
class CEthernetLink {
 public:
  CEthernetLink(const IClock& clock, std::unique_ptr<IRandomGenerator> random);

  /// The clock must outlive whoever asks.
  TimePoint Now() const { return mClock.Now(); }

  /// The random generator's; 0: it works.
  int RandomInitCode() const { return mRandomInitCode; }
  /// Nothing, and an error line for the first in a row: there is no random number to be had.
  std::optional<std::uint32_t> DrawNumber() EXCLUDES(mRandomMutex);

  /// From now on that is the way out.
  void Attach(IUdpSocket& socket, const SUdpAddress& group) EXCLUDES(mMutex);
  /// Nobody uses the socket any more when this returns; sends fail.
  void Detach() EXCLUDES(mMutex);
  /// False, and an error line for the first in a row: it could not be sent.
  bool Send(std::span<const std::uint8_t> data, const SUdpAddress& to) EXCLUDES(mMutex);
  bool SendToGroup(std::span<const std::uint8_t> data) EXCLUDES(mMutex);

 private:
  bool SendLocked(std::span<const std::uint8_t> data, const SUdpAddress& to) REQUIRES(mMutex);

  const IClock& mClock;
  const std::unique_ptr<IRandomGenerator> mRandom;
  const int mRandomInitCode;

  CMutex mRandomMutex;  // also for the generator
  int mRandomCode GUARDED_BY(mRandomMutex) = 0;

  CMutex mMutex;
  IUdpSocket* mSocket GUARDED_BY(mMutex) = nullptr;
  SUdpAddress mGroup GUARDED_BY(mMutex);
  const char* mFailure GUARDED_BY(mMutex) = nullptr;  // of the newest send
};
