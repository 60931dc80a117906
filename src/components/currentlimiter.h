#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <json/forwards.h>

#include "ipc/currentcontrol.pb.h"

#include "platform/utility/mutex.h"
#include "platform/worker/scheduler.h"

class CCurrentControlConfig;
class CDiagnosticsSignal;
class IChargeControlService;

/// One source's limit, or the setpoint that follows from all limits.
struct SLimitEntry {
  ipc::ECurrentControlSource source{};       ///< decides the current
  ipc::ECurrentControlSource phaseSource{};  ///< decides the phases; of a stored limit the same as `source`
  float current = 0.0F;                      ///< A
  std::uint8_t phases = 0;
};

/// The arbiter: keeps at most one limit for each source, picks the smallest current and the phase count, and
/// hands the result to charge control.
///
/// Any thread. One mutex serialises every operation, held through the call to charge control, so that
/// setpoints arrive in the order in which they were computed.
class CCurrentLimiter {
 public:
  /// What is stored and what follows from it, all from one moment.
  struct SExplanation {
    struct SStored {
      SLimitEntry entry;
      Milliseconds unchangedFor;
    };
    std::vector<SStored> limits;  ///< in stored order, which decides between equal limits
    SLimitEntry setpoint;         ///< as last forwarded; current -1 before the first
    /// What the limits give now. The setpoint may lag by less than a threshold, and still name the sources
    /// that decided when it was forwarded.
    SLimitEntry selection;
    SLimitEntry runnerUp;  ///< what would follow without the limit of the selection's current source
  };

  /// The diagnostics signals that tell who limits.
  struct SSignals {
    std::shared_ptr<CDiagnosticsSignal> currentSource;
    std::shared_ptr<CDiagnosticsSignal> phasesSource;
    std::shared_ptr<CDiagnosticsSignal> sourceChanged;
  };

  CCurrentLimiter(const IClock& clock, std::shared_ptr<CCurrentControlConfig> config,
                  std::shared_ptr<IChargeControlService> chargeControl, SSignals signals);
  virtual ~CCurrentLimiter();

  /// Sets the limits that the hardware, the installation and the user's own setting give. Call once, at the
  /// start.
  void SetInitialLimits();

  /// Sets a source's limit in A for the configured default phase count. Results as `SetLimit`.
  virtual bool SetLimitWithDefaultPhases(ipc::ECurrentControlSource source, float current);
  /// False: the phase count does not fit the hardware (nothing is stored), or charge control did not take the
  /// new setpoint (the limit is stored).
  virtual bool SetLimit(ipc::ECurrentControlSource source, std::uint8_t phases, float current);
  /// The stored limit; without one, 0 A and a warning.
  virtual SLimitEntry GetLimit(ipc::ECurrentControlSource source);
  virtual bool HasLimit(ipc::ECurrentControlSource source);
  /// False: the source has no limit, or charge control did not take the new setpoint.
  virtual bool DeleteLimit(ipc::ECurrentControlSource source);
  /// The setpoint that was last forwarded; -1 A before the first.
  virtual SLimitEntry GetSetpoint();
  /// The setpoint that would follow without these sources. An entry stored directly behind one that is left
  /// out is compared with the rest of the list only, and so may stay in.
  virtual SLimitEntry GetSetpoint(std::span<const ipc::ECurrentControlSource> without);

  SExplanation Explain();

 private:
  struct SStoredLimit {
    SLimitEntry entry;
    TimePoint since;  ///< when current or phases last changed
  };
  using Limits = std::vector<SStoredLimit>;

  void FollowUserLimit();
  void OnUserLimitChanged(const Json::Value& value);

  bool IsSupported(std::uint8_t phases) const;
  Limits::iterator Find(ipc::ECurrentControlSource source) REQUIRES(mMutex);
  void Store(const SLimitEntry& entry) EXCLUDES(mMutex);
  bool Remove(ipc::ECurrentControlSource source) EXCLUDES(mMutex);

  SLimitEntry SelectMinimum(std::span<const SStoredLimit> limits) const;
  /// Computes the setpoint anew after a change by the source and forwards it if it moved far enough. False:
  /// charge control did not take it.
  bool UpdateSetpoint(ipc::ECurrentControlSource source) EXCLUDES(mMutex);
  bool Forward(const SLimitEntry& setpoint) REQUIRES(mMutex);
  void Publish(const SLimitEntry& previous, const SLimitEntry& setpoint) REQUIRES(mMutex);

  const IClock& mClock;
  const std::shared_ptr<CCurrentControlConfig> mConfig;
  const std::shared_ptr<IChargeControlService> mChargeControl;
  const SSignals mSignals;

  CMutex mMutex;
  Limits mLimits GUARDED_BY(mMutex);
  SLimitEntry mSetpoint GUARDED_BY(mMutex);

  /// Orders the setting's first value and its changes: held while one is read and set. Taken before mMutex.
  CMutex mUserLimitMutex;
  bool mFollowsUserLimit = false;  ///< main thread: set at the start, read at the end
};
