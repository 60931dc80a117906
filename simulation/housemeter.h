#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "platform/utility/mutex.h"
#include "platform/worker/scheduler.h"
#include "simulation/house.h"

/// What an electricity meter at the house connection sees, whoever shows it to current control and how: as
/// telegrams, as pages, as registers. Any thread.
class CHouseMeter {
 public:
  /// How the meter behaves towards those who read it.
  enum class EFate : std::uint8_t {
    Good,
    Away,    ///< cut off: nothing is heard of it
    Garbled  ///< what it sends is damaged
  };

  struct SView {
    std::array<std::uint32_t, 3> milliAmpere;  ///< without direction
    std::array<std::uint32_t, 3> milliVolt;
    std::array<std::int32_t, 3> watt;  ///< drawn; negative: fed in
    std::uint64_t importedWattHours;   ///< of the phases taken together, which is how a meter counts
    std::uint64_t exportedWattHours = 0;
    /// Of the view, since the meter began.
    Milliseconds time;

    std::int32_t TotalWatt() const { return watt[0] + watt[1] + watt[2]; }
  };

  CHouseMeter(const IClock& clock, CHouse& house);

  /// The voltages sag with the load, rise with what is fed in, and flicker a little once per second as real
  /// ones do.
  SView View() EXCLUDES(mMutex);

  void SetFate(EFate fate) { mFate = fate; }
  EFate Fate() const { return mFate; }

 private:
  const IClock& mClock;
  CHouse& mHouse;
  const TimePoint mBegin;
  std::atomic<EFate> mFate{EFate::Good};
  CMutex mMutex;
  TimePoint mUpTo GUARDED_BY(mMutex);
  std::uint64_t mImported GUARDED_BY(mMutex) = 0;  ///< W ms
  std::uint64_t mExported GUARDED_BY(mMutex) = 0;
};
