#include "simulation/meteringchip.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "src/components/measurementsources/ade7854attributes.h"

namespace {

constexpr double kMilli = 0.001;
constexpr std::uint32_t kPgaMask = 7;
constexpr std::uint32_t kHighestPgaCode = 4;
constexpr std::uint32_t kSignBit = 0x800000;
constexpr double kGainUnit = 1.0 / kSignBit;
constexpr double kOffsetUnit = 128;

double Signed(std::uint32_t content) {
  constexpr std::int32_t kRange = 2 * std::int32_t{kSignBit};
  const auto value = static_cast<std::int32_t>(content & Hal::Ade7854::kRegisterMask);
  return (content & kSignBit) != 0 ? value - kRange : value;
}

std::uint32_t Pga(std::uint32_t codes) {
  return 1U << std::min(codes & kPgaMask, kHighestPgaCode);
}

std::uint32_t RmsRegister(double share, const CMeteringChip::SPhase& phase) {
  const double converted = CMeteringChip::kFullScale * std::min(share, 1.0);
  const double amplified = converted * (1 + kGainUnit * Signed(phase.currentGain));
  const double square = amplified * amplified + kOffsetUnit * Signed(phase.currentRmsOffset);
  return static_cast<std::uint32_t>(std::lround(std::sqrt(std::max(square, 0.0)))) &
         Hal::Ade7854::kRegisterMask;
}

}  // namespace

CMeteringChip::CMeteringChip(std::function<Currents()> transformers, double turnsRatio)
    : mTransformers(std::move(transformers)), mTurnsRatio(turnsRatio) {}

bool CMeteringChip::IsPresent() const {
  const CMutexLock lock(mMutex);
  return mPresent;
}

std::optional<CMeteringChip::SConfiguration> CMeteringChip::Configuration() const {
  const CMutexLock lock(mMutex);
  return mPresent ? std::optional(mConfiguration) : std::nullopt;
}

bool CMeteringChip::Configure(const SConfiguration& configuration) {
  const CMutexLock lock(mMutex);
  if (!mPresent || mRefusing) return false;
  mConfiguration = configuration;
  return true;
}

std::optional<CMeteringChip::RmsRegisters> CMeteringChip::ReadCurrentRms() const {
  SConfiguration configuration;
  {
    const CMutexLock lock(mMutex);
    if (!mPresent) return std::nullopt;
    configuration = mConfiguration;
  }
  RmsRegisters registers{};
  if (configuration.run == 0) return registers;
  const double perMilliAmpere =
      kMilli * kBurdenOhm / mTurnsRatio / kFullScaleVolt * Pga(configuration.pgaCodes);
  const Currents currents = mTransformers();
  for (std::size_t i = 0; i < registers.size(); ++i) {
    registers[i] = RmsRegister(currents[i] * perMilliAmpere, configuration.phases[i]);
  }
  return registers;
}

void CMeteringChip::Reset() {
  const CMutexLock lock(mMutex);
  mConfiguration = {};
}

void CMeteringChip::Vanish() {
  const CMutexLock lock(mMutex);
  mPresent = false;
  mConfiguration = {};
}

void CMeteringChip::Return() {
  const CMutexLock lock(mMutex);
  mPresent = true;
}

void CMeteringChip::RefuseConfiguration(bool refuse) {
  const CMutexLock lock(mMutex);
  mRefusing = refuse;
}
