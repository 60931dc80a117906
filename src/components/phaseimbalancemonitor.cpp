#include "src/components/phaseimbalancemonitor.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/components/currentcontrolconfig.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CPhaseImbalanceMonitor";

/// mVA that each ampere of unbalance is worth: 230 V.
constexpr std::int64_t kPowerOfAmpere = 230000;
/// mVA that balancing stays below what is allowed.
constexpr std::int64_t kReserve = 50000;
/// mA; what is nearer to the present limit changes nothing.
constexpr std::int64_t kLeastChange = 200;
/// Updates between two balancings.
constexpr std::uint32_t kRunsToBalance = 4;
/// A mean of less is not verified.
constexpr std::uint32_t kLeastVerified = 8;
constexpr std::int64_t kMilli = 1000;

}  // namespace

CPhaseImbalanceMonitor::CPhaseImbalanceMonitor(IScheduler& scheduler,
                                               std::shared_ptr<CCurrentControlConfig> config,
                                               Milliseconds period,
                                               std::shared_ptr<CDiagnosticsSignal> limitExceeded,
                                               SCallbacks callbacks)
    : mConfig(std::move(config)),
      mLimitExceeded(std::move(limitExceeded)),
      mCallbacks(std::move(callbacks)),
      mMeter(mCallbacks.meter,
             {.silent = "The station's meter is silent, phase imbalance limits current to 0 mA",
              .back = "The station's meter is back, phase imbalance is measured again"}),
      mWatch(scheduler, "PhaseImbalance", period,
             {.look = [this] { Update(); },
              .forget = [this] { ForgetSamples(); },
              .unplugged = [this] { OnUnplugged(); }}) {
  LOG_ENTRY(kClassName);
}

CPhaseImbalanceMonitor::~CPhaseImbalanceMonitor() {
  LOG_ENTRY(kClassName);
}

void CPhaseImbalanceMonitor::Enable() {
  LOG_ENTRY(kClassName);
  if (mConfig->GetPhaseImbalanceLimitCurrent() == 0) {
    LOG_WARNING(
        "VDEPhaseImbalanceLimit is set to 0 in settings.json: phase imbalance limits current to 0 mA");
  }
  if (mConfig->HasMeter()) {
    mWatch.Enable();
  } else {
    LOG_WARNING("Phase imbalance is enabled but HwHasMeter is false. Phase imbalance limits current to {}mA",
                mLimit.load());
  }
}

void CPhaseImbalanceMonitor::Disable() {
  LOG_ENTRY(kClassName);
  mWatch.Disable();
}

SLimit CPhaseImbalanceMonitor::GetLimit() {
  LOG_ENTRY(kClassName);
  return {ipc::ECurrentControlVDEPhaseImbalance, mLimit, kLimitedPhases};
}

void CPhaseImbalanceMonitor::SetChargingState(ipc::EChargingState state) {
  LOG_ENTRY(kClassName);
  mWatch.SetChargingState(state);
}

std::int64_t CPhaseImbalanceMonitor::MaximumImbalance() const {
  return kPowerOfAmpere * mConfig->GetPhaseImbalanceLimitCurrent();
}

void CPhaseImbalanceMonitor::Update() {
  const auto data = mMeter.Read();
  if (!data) {
    ForgetSamples();
    FallToZero();
    return;
  }
  AddSamples(*data);
  if (++mRuns < kRunsToBalance) return;
  mRuns = 0;
  const std::int64_t maximum = MaximumImbalance();
  BalancePhases(maximum);
  if (mPhases.front().power.Size() < kLeastVerified) return;
  if (std::exchange(mHasRestarted, false)) {
    ForgetPowers();
  } else {
    VerifyPhaseBalanceLimit(maximum);
  }
}

void CPhaseImbalanceMonitor::AddSamples(const SStationMeterData& data) {
  for (std::size_t phase = 0; phase < mPhases.size(); ++phase) {
    const std::int64_t volt = data.milliVolt[phase] / kMilli;
    mPhases[phase].power.Add(data.milliAmpere[phase] * volt);
    mPhases[phase].voltage.Add(volt);
  }
}

void CPhaseImbalanceMonitor::BalancePhases(std::int64_t maximum) {
  const auto power = [](const SPhase& phase) { return phase.power.SumOfNewest(kBalanced) / kBalanced; };
  const SPhase& lowest = *std::ranges::min_element(mPhases, {}, power);
  const SPhase& highest = *std::ranges::max_element(mPhases, {}, power);
  const std::int64_t voltages = highest.voltage.Sum();
  const std::int64_t count = lowest.voltage.Size();
  if (count == 0 || voltages < count) {
    LOG_DEBUG("No phases active, nothing to balance");
    return;
  }
  UpdateLimit((maximum - kReserve + power(lowest)) / (voltages / count));
}

void CPhaseImbalanceMonitor::VerifyPhaseBalanceLimit(std::int64_t maximum) {
  const auto mean = [](const SPhase& phase) { return phase.power.Sum() / phase.power.Size(); };
  const auto [low, high] = std::minmax({mean(mPhases[0]), mean(mPhases[1]), mean(mPhases[2])});
  LOG_DEBUG("PhaseBalanceLimit: low: {} VA, high: {} VA, high-low: {} VA, maximum: {} VA", low / kMilli,
            high / kMilli, (high - low) / kMilli, maximum / kMilli);
  if (high - low > maximum) Stop(maximum);
}

void CPhaseImbalanceMonitor::Stop(std::int64_t maximum) {
  LOG_ERROR(
      "Phase imbalance monitor: Limit of {}VA exceeded for 1 minute. Stop charging and set diagnostics "
      "signal(s)",
      maximum / kMilli);
  mWatch.Stop();
  mLimitExceeded->Send(true);
  mCallbacks.stopCharging();
  FallToZero();
}

void CPhaseImbalanceMonitor::OnUnplugged() {
  LOG_INFO("The vehicle that was unbalanced is unplugged, phase imbalance begins anew");
  mHasRestarted = false;
  mLimit = 0;
  mIsLimitRemoved = true;
  mLimitExceeded->Send(false);
  mCallbacks.limitRemoved();
}

void CPhaseImbalanceMonitor::UpdateLimit(std::int64_t limit) {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
  const std::int64_t newLimit = std::clamp<std::int64_t>(limit, 0, kLargest);
  if (!mIsLimitRemoved && std::abs(newLimit - mLimit) <= kLeastChange) return;
  SetLimit(static_cast<std::int32_t>(newLimit));
}

void CPhaseImbalanceMonitor::FallToZero() {
  if (mLimit != 0 || mIsLimitRemoved) SetLimit(0);
}

void CPhaseImbalanceMonitor::SetLimit(std::int32_t limit) {
  LOG_DEBUG("UpdateLimit({})", limit);
  mLimit = limit;
  mIsLimitRemoved = false;
  mCallbacks.limitChanged(GetLimit());
  mHasRestarted = true;
  ForgetPowers();
}

void CPhaseImbalanceMonitor::ForgetPowers() {
  for (SPhase& phase : mPhases) phase.power.Clear();
}

void CPhaseImbalanceMonitor::ForgetSamples() {
  mRuns = 0;
  mPhases = {};
}
