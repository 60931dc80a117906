#include "src/components/blackoutprotection/blackoutprotectiondglb.h"

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CBlackoutProtectionDGLB";
constexpr Milliseconds kResendInterval{300000};
constexpr float kChangeThresholdAmpere = 2.0F;

}  // namespace

CBlackoutProtectionDGLB::~CBlackoutProtectionDGLB() {
  Disable();
}

bool CBlackoutProtectionDGLB::Init() {
  LOG_ENTRY(kClassName);
  ReduceSignals(kResendInterval, kChangeThresholdAmpere);
  return CBlackoutProtectionBase::Init();
}

SLimit CBlackoutProtectionDGLB::GetLimit() {
  LOG_ERROR("BopDGLB::GetLimit() is called, which shall not be used. This is a programming error, FIX ME!");
  return {ipc::ECurrentControlBop, 0, kLimitedPhases};
}

void CBlackoutProtectionDGLB::UpdateLimit(const ThreePhaseValue& currents) {
  if (IsInError()) {
    mAllowance = {};
    return;
  }
  const std::int64_t level95 = PercentOfFuse(kUsablePercent);
  LOG_DEBUG("95 percent of fuseRating({} mA) is {} mA", FuseRating(), level95);
  mAllowance = Headroom(level95, currents);
  LOG_DEBUG("Allowance: [{}, {}, {}]", mAllowance[0], mAllowance[1], mAllowance[2]);
  SendAmperes(*Signals().current, currents);
  SendAmperes(*Signals().constraint, mAllowance);
}
