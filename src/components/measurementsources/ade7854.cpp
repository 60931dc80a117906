#include "src/components/measurementsources/ade7854.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/core.h>

#include "platform/log/log.h"
#include "src/components/measurementsources/ade7854attributes.h"

namespace Hal {

namespace {

constexpr auto kClassName = "CAde7854";

constexpr std::uint32_t kStarted = 1;
constexpr std::uint32_t kResetNow = 1;

constexpr std::size_t kMostPgaGains = 3;
constexpr std::uint16_t kHighestPgaGain = 16;
constexpr std::uint32_t kBitsPerPgaCode = 3;

constexpr std::int32_t kHighestContent = 0x7FFFFF;
constexpr std::int32_t kLowestContent = -kHighestContent - 1;

/// The gains' codes, side by side.
std::uint32_t PgaCodeOf(std::span<const std::uint16_t> gains) {
  if (gains.empty() || gains.size() > kMostPgaGains) {
    throw MeterException(fmt::format("{} PGA gains given, not 1 to {}", gains.size(), kMostPgaGains));
  }
  std::uint32_t code = 0;
  std::uint32_t shift = 0;
  for (const std::uint16_t gain : gains) {
    if (!std::has_single_bit(gain) || gain > kHighestPgaGain) {
      throw MeterException(fmt::format("no such PGA gain: {}", gain));
    }
    code |= static_cast<std::uint32_t>(std::countr_zero(gain)) << shift;
    shift += kBitsPerPgaCode;
  }
  return code;
}

/// Whether a condition is another than the one that was logged last.
bool IsNews(std::string& logged, std::string_view condition) {
  if (logged == condition) return false;
  logged = condition;
  return true;
}

}  // namespace

CAde7854::CAde7854(const std::filesystem::path& root) : mFolder(root / Ade7854::kFolder) {
  LOG_ENTRY(kClassName);
  Open();
}

CtMeterCreator CAde7854::Creator(std::filesystem::path root) {
  return [root = std::move(root)] { return std::make_unique<CAde7854>(root); };
}

void CAde7854::Open() {
  using enum CAttributeFile::EAccess;
  using enum CMeterAttribute::ENeed;
  std::error_code ignored;
  if (!std::filesystem::is_directory(mFolder, ignored)) {
    throw MeterException(fmt::format("{}: there is no such folder", mFolder.string()));
  }
  for (std::size_t phase = 0; phase < mPhases.size(); ++phase) {
    const Ade7854::SPhaseAttributes& names = Ade7854::kPhases[phase];
    SPhase& attributes = mPhases[phase];
    attributes.currentRms.Open(mFolder, names.currentRms, Read);
    attributes.currentGain.Open(mFolder, names.currentGain, Both);
    attributes.voltageGain.Open(mFolder, names.voltageGain, Write, IfWanted);
    attributes.voltageRmsOffset.Open(mFolder, names.voltageRmsOffset, Write, IfWanted);
    attributes.currentRmsOffset.Open(mFolder, names.currentRmsOffset, Write);
  }
  mPgaGain.Open(mFolder, Ade7854::kPgaGain, Both);
  mRun.Open(mFolder, Ade7854::kRun, Both);
  mReset.Open(mFolder, Ade7854::kReset, Write, IfPresent);
  mChecksum.Open(mFolder, Ade7854::kChecksum, Read, IfPresent);
}

CAde7854::SConfiguration CAde7854::ConfigurationOf(std::span<const SCalibration> calibrations,
                                                   std::span<const std::uint16_t> pgaGains) {
  SConfiguration configuration;
  configuration.phases = calibrations.size();
  configuration.pgaCode = PgaCodeOf(pgaGains);
  if (configuration.phases != 1 && configuration.phases != configuration.corrections.size()) {
    throw MeterException(fmt::format("calibrations of {} phases given, not 1 or 3", configuration.phases));
  }
  for (std::size_t phase = 0; phase < configuration.phases; ++phase) {
    configuration.corrections[phase] = CorrectionOf(calibrations[phase], phase);
  }
  return configuration;
}

CAde7854::SCorrection CAde7854::CorrectionOf(const SCalibration& calibration, std::size_t phase) {
  const auto registerOf = [phase](std::string_view what, std::int32_t content) {
    if (content < kLowestContent || content > kHighestContent) {
      throw MeterException(
          fmt::format("the {} {} of phase {} does not fit into 24 bits", what, content, phase + 1));
    }
    return static_cast<std::uint32_t>(content) & Ade7854::kRegisterMask;
  };
  return {registerOf("current gain", calibration.currentGain),
          registerOf("voltage gain", calibration.voltageGain),
          registerOf("voltage RMS offset", calibration.voltageRmsOffset),
          registerOf("current RMS offset", calibration.currentRmsOffset)};
}

bool CAde7854::Initialize(std::span<const SCalibration> calibrations,
                          std::span<const std::uint16_t> pgaGains) {
  LOG_ENTRY(kClassName);
  mConfiguration.reset();
  try {
    SConfiguration configuration = ConfigurationOf(calibrations, pgaGains);
    Open();
    Configure(configuration);
    Check(configuration);
    if (mChecksum.IsOpen()) configuration.checksum = mChecksum.Read();
    mConfiguration = configuration;
  } catch (const MeterException& failure) {
    if (IsNews(mUnusable, failure.what())) {
      LOG_ERROR("Metering chip cannot be initialised: {}", failure.what());
    }
    return false;
  }
  mNotRunning.clear();
  if (!std::exchange(mUnusable, {}).empty()) LOG_INFO("Metering chip is initialised now");
  return true;
}

void CAde7854::Configure(const SConfiguration& configuration) {
  if (mReset.IsOpen()) mReset.Write(kResetNow);
  for (std::size_t phase = 0; phase < configuration.phases; ++phase) {
    const SCorrection& correction = configuration.corrections[phase];
    mPhases[phase].currentGain.Write(correction.currentGain);
    mPhases[phase].voltageGain.WriteUnlessZero(correction.voltageGain);
    mPhases[phase].voltageRmsOffset.WriteUnlessZero(correction.voltageRmsOffset);
    mPhases[phase].currentRmsOffset.Write(correction.currentRmsOffset);
  }
  mPgaGain.Write(configuration.pgaCode);
  mRun.Write(kStarted);
}

void CAde7854::Check(const SConfiguration& configuration) const {
  mRun.Expect(kStarted);
  for (std::size_t phase = 0; phase < configuration.phases; ++phase) {
    // A driver may show the sign in the upper bits.
    mPhases[phase].currentGain.Expect(configuration.corrections[phase].currentGain, Ade7854::kRegisterMask);
  }
  mPgaGain.Expect(configuration.pgaCode, Ade7854::kRegisterMask);
  // Whose readings cannot be had is of no use, and is opened anew in this way.
  for (const SPhase& phase : mPhases) phase.currentRms.Read();
  // It covers registers that are not read back, but neither run nor the phases' gains.
  if (configuration.checksum) mChecksum.Expect(*configuration.checksum);
}

std::optional<ICtMeter::RmsRegisters> CAde7854::ReadCurrentRms() {
  LOG_ENTRY(kClassName);
  RmsRegisters registers{};
  try {
    std::ranges::transform(mPhases, registers.begin(),
                           [](const SPhase& phase) { return phase.currentRms.Read(); });
    // A chip that was reset stands still, and so do its registers, at 0: that would be a house without load.
    if (registers == RmsRegisters{}) mRun.Expect(kStarted);
  } catch (const MeterException& failure) {
    // What the attribute holds instead of a number may be another thing each time.
    const bool lasting = std::exchange(mUnreadable, true);
    LOG_AT(lasting ? Log::ELogLevel::Debug : Log::ELogLevel::Error, "Metering chip cannot be read: {}",
           failure.what());
    return std::nullopt;
  }
  if (std::exchange(mUnreadable, false)) LOG_INFO("Metering chip can be read again");
  return registers;
}

bool CAde7854::IsRunning() {
  LOG_ENTRY(kClassName);
  try {
    if (!mConfiguration) throw MeterException("it is not initialised");
    Check(*mConfiguration);
  } catch (const MeterException& failure) {
    if (IsNews(mNotRunning, failure.what())) {
      LOG_INFO("Metering chip does not run as configured: {}", failure.what());
    }
    return false;
  }
  mNotRunning.clear();
  return true;
}

}  // namespace Hal
