#include "simulation/housemeter.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdlib>

namespace {

constexpr std::int64_t kNoLoadMilliVolt = 232000;
constexpr std::int64_t kLeastMilliVolt = 200000;
/// Of the supply line as the meter sees it.
constexpr std::int64_t kMilliOhm = 150;
constexpr std::int64_t kFlickerMilliVolt = 100;
constexpr std::int64_t kFlickers = 7;
constexpr std::uint64_t kMillisecondsPerHour = 3600000;

std::int64_t Voltage(std::int64_t milliAmpere, std::int64_t second, std::size_t phase) {
  const std::int64_t drop = milliAmpere * kMilliOhm / 1000;
  const std::int64_t flicker =
      (second * 3 + static_cast<std::int64_t>(phase) * 2) % kFlickers * kFlickerMilliVolt;
  return std::max(kLeastMilliVolt, kNoLoadMilliVolt - drop + flicker);
}

}  // namespace

CHouseMeter::CHouseMeter(const IClock& clock, CHouse& house)
    : mClock(clock), mHouse(house), mBegin(clock.Now()), mUpTo(mBegin) {}

CHouseMeter::SView CHouseMeter::View() {
  CMutexLock lock(mMutex);
  const TimePoint now = mClock.Now();
  const auto since = [now](TimePoint then) { return std::chrono::duration_cast<Milliseconds>(now - then); };
  const CHouse::NetCurrents net = mHouse.NetAtTheConnection();
  SView view{.milliAmpere = {},
             .milliVolt = {},
             .watt = {},
             .importedWattHours = 0,
             .exportedWattHours = 0,
             .time = since(mBegin)};
  for (std::size_t phase = 0; phase < net.size(); ++phase) {
    const std::int64_t milliVolt = Voltage(net[phase], view.time.count() / 1000, phase);
    view.milliAmpere[phase] = static_cast<std::uint32_t>(std::abs(net[phase]));
    view.milliVolt[phase] = static_cast<std::uint32_t>(milliVolt);
    view.watt[phase] = static_cast<std::int32_t>(milliVolt * net[phase] / 1000000);
  }
  const std::int64_t total = view.TotalWatt();
  const auto span = static_cast<std::uint64_t>(since(mUpTo).count());
  (total < 0 ? mExported : mImported) += static_cast<std::uint64_t>(std::abs(total)) * span;
  mUpTo = now;
  view.importedWattHours = mImported / kMillisecondsPerHour;
  view.exportedWattHours = mExported / kMillisecondsPerHour;
  return view;
}
