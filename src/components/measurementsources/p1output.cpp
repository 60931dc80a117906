#include "src/components/measurementsources/p1output.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace P1 {
namespace {

constexpr std::int32_t kThousand = 1000;

/// Of two fields that are both there. Neither is negative, so that the difference fits.
std::optional<std::int32_t> Net(const CRecord& record, EField delivered, EField returned) {
  const auto in = record.Thousandths(delivered);
  const auto out = record.Thousandths(returned);
  return in && out ? std::optional(*in - *out) : std::nullopt;
}

std::int32_t Truncated(float value) {
  constexpr float kTooMuch = 2147483648.0F;
  if (value >= kTooMuch) return std::numeric_limits<std::int32_t>::max();
  if (value < -kTooMuch) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(value);
}

/// mA. A phase without voltage, as meters show one that is not connected or has no neutral, has the current
/// that its meter says. The meter says no direction.
std::optional<std::int32_t> Current(const CRecord& record, std::size_t phase) {
  const auto watt =
      Net(record, OfPhase(EField::PowerDeliveredL1, phase), OfPhase(EField::PowerReturnedL1, phase));
  if (!watt) return std::nullopt;
  const std::int32_t milliVolt = record.Thousandths(OfPhase(EField::VoltageL1, phase)).value_or(0);
  if (milliVolt != 0) {
    const float volt = static_cast<float>(milliVolt) / static_cast<float>(kThousand);
    return Truncated(static_cast<float>(*watt) / volt * static_cast<float>(kThousand));
  }
  const auto current = record.Thousandths(OfPhase(EField::CurrentL1, phase));
  return current && *watt < 0 ? std::optional(-*current) : current;
}

/// V, half a volt up.
std::optional<std::int32_t> Voltage(const CRecord& record, std::size_t phase) {
  const auto milliVolt = record.Thousandths(OfPhase(EField::VoltageL1, phase));
  if (!milliVolt) return std::nullopt;
  return *milliVolt / kThousand + (*milliVolt % kThousand >= kThousand / 2 ? 1 : 0);
}

}  // namespace

SP1Output ToOutput(const CRecord& record) {
  SP1Output output;
  output.current = OfEachPhase([&record](std::size_t phase) { return Current(record, phase); });
  output.voltage = OfEachPhase([&record](std::size_t phase) { return Voltage(record, phase); });
  if (const auto watt = Net(record, EField::PowerDelivered, EField::PowerReturned)) {
    output.activePower = ThreePhaseValue{*watt, 0, 0};
  }
  output.success = true;
  return output;
}

}  // namespace P1
