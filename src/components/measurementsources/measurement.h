#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "platform/worker/scheduler.h"

/// A quantity that a meter measures on each phase.
enum class EMeasureType : std::uint8_t { Current = 0, ActivePower = 1, Voltage = 2 };
inline constexpr std::size_t kMeasureTypes = 3;

/// The quantity as log lines name it.
constexpr std::string_view ToText(EMeasureType type) {
  switch (type) {
    case EMeasureType::Current:
      return "Current";
    case EMeasureType::ActivePower:
      return "ActivePower";
    case EMeasureType::Voltage:
      return "Voltage";
  }
  return "Unknown";
}

/// L1 to L3: current in mA, voltage in V, active power in W. 0 also where nothing was measured.
using ThreePhaseValue = std::array<std::int32_t, 3>;

/// How often every meter is read, and how long what was read is kept.
inline constexpr Milliseconds kSamplingPeriod{1250};
inline constexpr Milliseconds kStorageTime{30000};

/// A meter as those see it who measure with it; several may share one. `Init` and `DeInit` one at a time, the
/// rest from any thread.
class IMeasurementSource {
 public:
  using MeasurementGetter = std::function<ThreePhaseValue()>;
  /// True on entering an error state, false on leaving it.
  using ErrorHandler = std::function<void(bool error)>;

  virtual ~IMeasurementSource() = default;

  /// Begins to sample; may be called again. False, and an error state, when the meter cannot be used.
  virtual bool Init() = 0;
  /// Ends it and forgets what was sampled.
  virtual void DeInit() = 0;

  /// The mean of the samples of the newest `span`, of which the newest alone when the span is one period.
  /// Zeros when there are none, see `HasMeasurement`.
  virtual ThreePhaseValue GetMeasurementAverage(EMeasureType type, Milliseconds span) = 0;
  /// A live reading on the caller's thread; zeros when the source does not measure this.
  virtual ThreePhaseValue GetMeasurements(EMeasureType type) = 0;
  /// Handlers are called one after the other, in order of registration, on the source's worker; they must not
  /// register another.
  virtual void RegisterErrorHandler(ErrorHandler handler) = 0;
  virtual bool HasMeasurement(EMeasureType type) const = 0;
  /// Writes what the meter sent last to a file, for those who look for a fault.
  virtual void DumpLastReceivedData() = 0;
};
