#include "src/components/measurementsources/deferredctmeter.h"

#include "platform/log/log.h"
#include "platform/utility/text.h"

bool CDeferredCtMeter::Initialize(std::span<const SCalibration> calibrations,
                                  std::span<const std::uint16_t> pgaGains) {
  return (mChip || Make()) && mChip->Initialize(calibrations, pgaGains);
}

std::optional<ICtMeter::RmsRegisters> CDeferredCtMeter::ReadCurrentRms() {
  return mChip ? mChip->ReadCurrentRms() : std::nullopt;
}

bool CDeferredCtMeter::IsRunning() {
  return mChip && mChip->IsRunning();
}

bool CDeferredCtMeter::Make() {
  try {
    mChip = mCreate();
    return mChip != nullptr;
  } catch (const Hal::MeterException& exception) {
    if (mReason != exception.what()) LOG_ERROR("No metering chip: {}", Text::InOneLine(exception.what()));
    mReason = exception.what();
    return false;
  }
}
