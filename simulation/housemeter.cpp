#include "simulation/housemeter.h"

#include <chrono>
#include <cstddef>

namespace {

constexpr std::uint32_t kNoLoadMilliVolt = 232000;
constexpr std::uint32_t kLeastMilliVolt = 200000;
/// Of the supply line as the meter sees it.
constexpr std::uint32_t kMilliOhm = 150;
constexpr std::uint64_t kFlickerMilliVolt = 100;
constexpr std::uint64_t kFlickers = 7;
constexpr std::uint64_t kMillisecondsPerHour = 3600000;

std::uint32_t Voltage(std::uint32_t milliAmpere, std::uint64_t second, std::size_t phase) {
  const std::uint64_t drop = std::uint64_t{milliAmpere} * kMilliOhm / 1000;
  const std::uint64_t flicker = (second * 3 + phase * 2) % kFlickers * kFlickerMilliVolt;
  if (drop > kNoLoadMilliVolt - kLeastMilliVolt) return kLeastMilliVolt;
  return static_cast<std::uint32_t>(kNoLoadMilliVolt - drop + flicker);
}

}  // namespace

CHouseMeter::CHouseMeter(const IClock& clock, CHouse& house)
    : mClock(clock), mHouse(house), mBegin(clock.Now()), mUpTo(mBegin) {}

CHouseMeter::SView CHouseMeter::View() {
  CMutexLock lock(mMutex);
  const TimePoint now = mClock.Now();
  const auto since = [now](TimePoint then) { return std::chrono::duration_cast<Milliseconds>(now - then); };
  SView view{.milliAmpere = mHouse.AtTheConnection(),
             .milliVolt = {},
             .watt = {},
             .importedWattHours = 0,
             .time = since(mBegin)};
  const auto second = static_cast<std::uint64_t>(view.time.count() / 1000);
  for (std::size_t phase = 0; phase < view.milliAmpere.size(); ++phase) {
    view.milliVolt[phase] = Voltage(view.milliAmpere[phase], second, phase);
    view.watt[phase] =
        static_cast<std::uint32_t>(std::uint64_t{view.milliVolt[phase]} * view.milliAmpere[phase] / 1000000);
  }
  mWattMilliseconds += std::uint64_t{view.TotalWatt()} * static_cast<std::uint64_t>(since(mUpTo).count());
  mUpTo = now;
  view.importedWattHours = mWattMilliseconds / kMillisecondsPerHour;
  return view;
}
