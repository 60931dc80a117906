#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>

namespace Hal {

/// Why a metering chip cannot be used; the text names the file or the value.
class MeterException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Hal

/// The metering chip to which the current transformers are wired. One thread at a time.
class ICtMeter {
 public:
  /// Signed register contents that correct one phase.
  struct SCalibration {
    std::int32_t currentGain = 0;  ///< factor 1 + content / 2^23
    std::int32_t voltageGain = 0;
    std::int32_t voltageRmsOffset = 0;
    std::int32_t currentRmsOffset = 0;
  };
  /// Root-mean-square current registers of L1 to L3.
  using RmsRegisters = std::array<std::uint32_t, 3>;

  virtual ~ICtMeter() = default;

  /// Resets, configures and starts the chip: one record for 1 phase, three for 3; one to three gains of 1, 2,
  /// 4, 8 or 16, the first that of the phase currents. False: it cannot be used now; may be tried again.
  virtual bool Initialize(std::span<const SCalibration> calibrations,
                          std::span<const std::uint16_t> pgaGains) = 0;
  /// Nothing when a register cannot be read or holds no number.
  virtual std::optional<RmsRegisters> ReadCurrentRms() = 0;
  /// Whether it still runs with the configuration that it was given; false after a reset.
  virtual bool IsRunning() = 0;
};

/// Makes the board's chip; throws Hal::MeterException when there is none (yet).
using CtMeterCreator = std::function<std::unique_ptr<ICtMeter>()>;

/// For boards without one.
[[noreturn]] inline std::unique_ptr<ICtMeter> NoCtMeter() {
  throw Hal::MeterException("this board has no metering chip");
}
