#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>

#include "ipc/diagnostics.pb.h"

/// The reports that wait for the diagnostics peer, in the order in which they are sent. Of a signal only the
/// newest value waits, in the place of the oldest one that was not sent; of events the newest ones. One
/// thread at a time.
class CPendingReports {
 public:
  struct SReport {
    std::uint64_t version = 0;  ///< another one for every value
    ipc::MDiagnosticsSignal message;
  };

  explicit CPendingReports(std::size_t mostEvents) : mMostEvents(mostEvents) {}

  /// False when the oldest event was dropped to make room.
  bool Add(ipc::MDiagnosticsSignal message);

  /// Null when nothing waits.
  const SReport* First() const { return mReports.empty() ? nullptr : &mReports.begin()->second; }

  /// Takes the report out that was `First`. When the signal has got a newer value since, that one waits in
  /// its stead, behind all others: a signal that never rests must not keep the rest from being sent.
  void Remove(const SReport& report);

 private:
  using Place = std::uint64_t;

  bool AddEvent(ipc::MDiagnosticsSignal message);

  const std::size_t mMostEvents;
  std::uint64_t mLast = 0;
  std::map<Place, SReport> mReports;
  std::map<std::uint32_t, Place> mPlaceOfSignal;
  std::deque<Place> mPlacesOfEvents;
};
