#include "src/rpc/clients/meterservice.h"

#include <chrono>

#include "platform/log/log.h"

namespace {

SStationMeterData ToData(const ipc::MMeterData& values) {
  return {.milliAmpere = {values.current1(), values.current2(), values.current3()},
          .milliVolt = {values.voltage1(), values.voltage2(), values.voltage3()}};
}

}  // namespace

CMeterService::CMeterService(IScheduler& scheduler, const std::shared_ptr<Rpc::CClient>& client)
    : mClock(scheduler), mPeer(client), mWorker(scheduler, "Meter") {}

CMeterService::~CMeterService() {
  Disable();
}

void CMeterService::Enable() {
  mWorker.Start();
  mSubscription = mPeer.ValueNotifications(
      {},
      [this](const ipc::MMeterData& values) {
        CMutexLock lock(mMutex);
        mNewest = SReceived{ToData(values), mClock.Now()};
      },
      [this](bool established) {
        mWorker.NonBlockingCall([this, established] { established ? EnablePeer() : mRetry.Cancel(); });
      });
}

void CMeterService::EnablePeer() {
  const auto answer = mPeer.Enable({});
  const bool isRefused = answer.IsOk() && answer.value.code() != 0;
  if (isRefused && !mIsRefused) LOG_WARNING("The station's meter refuses to be enabled, trying again");
  if (answer.IsOk()) mIsRefused = isRefused;
  if (answer.IsOk() && !isRefused) {
    mRetry.Cancel();
  } else {
    mRetry = mWorker.AddCall([this] { EnablePeer(); }, kRetryInterval);
  }
}

void CMeterService::Disable() {
  mSubscription.reset();
  mWorker.Stop();
}

std::optional<CMeterService::SSample> CMeterService::Newest() const {
  CMutexLock lock(mMutex);
  if (!mNewest) return std::nullopt;
  const auto age = std::chrono::duration_cast<Milliseconds>(mClock.Now() - mNewest->at);
  return age <= kLongestStationMeterAge ? std::optional(SSample{mNewest->values, age}) : std::nullopt;
}

StationMeter CMeterService::Reader() const {
  return [this]() -> std::optional<SStationMeterData> {
    const auto newest = Newest();
    return newest ? std::optional(newest->values) : std::nullopt;
  };
}
