#include "src/components/temperaturereport.h"

#include <limits>
#include <utility>
#include <vector>

#include "platform/log/log.h"

namespace {

constexpr Milliseconds kResendInterval{300000};
constexpr float kThresholdCelsius = 1.0F;

}  // namespace

CTemperatureReport::CTemperatureReport(std::shared_ptr<CDiagnosticsSignal> signal)
    : mSignal(std::move(signal)) {
  mCelsius.fill(std::numeric_limits<float>::quiet_NaN());
  mSignal->Reduce(kResendInterval, std::vector<float>(kThermalSources, kThresholdCelsius));
}

void CTemperatureReport::SetTemperature(EThermalSource source, float celsius) {
  LOG_ENTRY("CTemperatureReport");
  CMutexLock lock(mMutex);
  mCelsius.at(static_cast<std::size_t>(source)) = celsius;
  mSignal->Send(mCelsius);
}
