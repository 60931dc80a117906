#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "platform/worker/worker.h"
#include "simulation/hearing.h"
#include "simulation/random.h"
#include "src/communication/icommunicationlistener.h"

class CRs485BusListener;

/// What goes wrong with the pieces in which bytes arrive, for each hearer anew; out of 1000.
struct SLineFaults {
  std::uint32_t loss = 0;
  std::uint32_t corruption = 0;  ///< bits of a byte flip
};

/// A half-duplex serial line on which stations hear each other, in virtual time. Bytes take their time, and
/// arrive in pieces as a UART brings them, to the next whole millisecond. Where two send at the same time the
/// others hear rubbish, and who sends hears nothing. The seed decides, so that a run repeats exactly.
///
/// Handlers run on the line's worker, never inside of a send. One thread.
class CRs485Bus {
 public:
  static constexpr std::uint32_t kBaud = 115200;
  static constexpr std::uint32_t kBitsOfByte = 10;  ///< with start and stop
  static constexpr std::chrono::nanoseconds kByteTime{1000000000LL * kBitsOfByte / kBaud};
  static constexpr std::size_t kLongestPiece = 16;

  using Tap = std::function<void(MediumStation from, std::span<const std::uint8_t> data)>;

  CRs485Bus(IScheduler& scheduler, std::uint64_t seed);
  ~CRs485Bus();
  CRs485Bus(const CRs485Bus&) = delete;
  CRs485Bus& operator=(const CRs485Bus&) = delete;

  /// A station's end of the line. Each station once. Must not outlive the bus.
  std::shared_ptr<ICommunicationListener> Attach(MediumStation station);

  void SetFaults(const SLineFaults& faults) { mFaults = faults; }
  void Split(CHearing::Parts parts) { mHearing.Split(std::move(parts)); }
  /// While a station's device is away it cannot be started, sends fail, and nothing is heard; what is started
  /// hears again when it is back.
  void SetDevicePresent(MediumStation station, bool isPresent);
  /// Gets to see whatever a station sends.
  void SetTap(Tap tap) { mTap = std::move(tap); }

 private:
  friend class CRs485BusListener;

  struct STransmission {
    const CRs485BusListener* sender;
    TimePoint begin;
    TimePoint end;
    std::vector<std::uint8_t> data;
  };
  struct SPiece {
    std::shared_ptr<const STransmission> whole;
    std::size_t begin;
    std::size_t end;
  };

  void Send(const CRs485BusListener& sender, std::span<const std::uint8_t> data);
  TimePoint WhenSilent(const CRs485BusListener& sender) const;
  void Schedule(const SPiece& piece);
  void Deliver(const SPiece& piece);
  std::vector<std::uint8_t> Heard(const SPiece& piece, const CRs485BusListener& hearer);
  bool Reaches(const CRs485BusListener& sender, const CRs485BusListener& hearer) const;
  void Spoil(std::vector<std::uint8_t>& bytes);
  void Forget();

  IScheduler& mScheduler;
  CRandom mRandom;
  std::map<MediumStation, std::shared_ptr<CRs485BusListener>> mListeners;
  SLineFaults mFaults;
  CHearing mHearing;
  Tap mTap;
  std::deque<std::shared_ptr<const STransmission>> mTransmissions;  // that may still meet others
  std::uint64_t mLastPiece = 0;
  std::map<std::uint64_t, CCallHandle> mPieces;
  CWorker mWorker;  // stops before the rest goes
};
