#pragma once

#include "src/components/blackoutprotection/blackoutprotectionbase.h"

/// Blackout protection of a group of stations: limits nothing itself, and tells the group's leader what the
/// main fuse has left for all of them.
class CBlackoutProtectionDGLB final : public CBlackoutProtectionBase {
 public:
  using CBlackoutProtectionBase::CBlackoutProtectionBase;
  ~CBlackoutProtectionDGLB() override;

  bool Init() override;
  /// There is no limit; not to be called.
  SLimit GetLimit() override;

 protected:
  void UpdateLimit(const ThreePhaseValue& currents) override REQUIRES(mMutex);
};
