#include "src/components/loadbalancing/lbphasehandler.h"

#include <cstddef>
#include <utility>

#include "platform/log/log.h"

namespace {

constexpr auto kClassName = "CLbPhaseHandler";
constexpr Milliseconds kSamplePeriod{1000};

}  // namespace

CLbPhaseHandler::CLbPhaseHandler(IScheduler& scheduler, StationMeter meter)
    : mClock(scheduler), mMeter(std::move(meter)), mWorker(scheduler, "LbPhases") {
  mWorker.Start();
}

CLbPhaseHandler::~CLbPhaseHandler() {
  mWorker.Stop();
}

void CLbPhaseHandler::SetLimit(std::uint32_t milliAmpere, bool isPhaseDiscovery) {
  LOG_ENTRY(kClassName);
  {
    const CMutexLock lock(mMutex);
    const bool wasAsked = std::exchange(mIsAsked, isPhaseDiscovery && milliAmpere == 0);
    if (mIsAsked == wasAsked) return;
    if (!mIsAsked) {
      if (mDiscovery == EDiscovery::Running) mDiscovery = EDiscovery::None;
      return;
    }
    mDiscovery = EDiscovery::Running;
    mDrawingSince.reset();
  }
  LOG_INFO("The leader asks on which phases the vehicle draws.");
  mWorker.NonBlockingCall([this] { StartSampling(); });
}

std::uint8_t CLbPhaseHandler::GetReport() {
  LOG_ENTRY(kClassName);
  const std::uint8_t drawing = DrawingPhases();
  const CMutexLock lock(mMutex);
  return mDiscovery == EDiscovery::Done ? drawing | kDiscoveryDone : drawing;
}

std::uint8_t CLbPhaseHandler::DrawingPhases() const {
  const std::optional<SStationMeterData> data = mMeter();
  if (!data) return 0;
  unsigned drawing = 0;
  for (std::size_t phase = 0; phase < data->milliAmpere.size(); ++phase) {
    if (data->milliAmpere[phase] > kDrawingMilliAmpere) drawing |= unsigned{kDrawsOnL1} << phase;
  }
  return static_cast<std::uint8_t>(drawing);
}

void CLbPhaseHandler::StartSampling() {
  mSampling = mWorker.AddCall([this] { Sample(); }, Milliseconds{0}, kSamplePeriod);
}

void CLbPhaseHandler::Sample() {
  const EDiscovery discovery = Advance(DrawingPhases() != 0);
  if (discovery == EDiscovery::Running) return;
  if (discovery == EDiscovery::Done) {
    LOG_INFO("The vehicle has been drawing for {} s: its phases are found.", kDiscoverySpan.count() / 1000);
  }
  mSampling.Cancel();
}

CLbPhaseHandler::EDiscovery CLbPhaseHandler::Advance(bool isDrawing) {
  const TimePoint now = mClock.Now();
  const CMutexLock lock(mMutex);
  if (mDiscovery != EDiscovery::Running) return mDiscovery;
  if (!isDrawing) {
    mDrawingSince.reset();
  } else if (!mDrawingSince) {
    mDrawingSince = now;
  } else if (now - *mDrawingSince >= kDiscoverySpan) {
    mDiscovery = EDiscovery::Done;
  }
  return mDiscovery;
}
