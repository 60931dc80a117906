#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "simulation/dayplan.h"
#include "simulation/stationmoment.h"

/// What did not hold in a day.
struct SDayViolation {
  Milliseconds at;
  std::string rule;     ///< the same words on every day
  std::string figures;  ///< by how much
};

/// What is going on, as those know it who planned the day.
struct SDaySituation {
  const SDayPlan& plan;
  SDaySettings settings;                    ///< in force
  std::uint32_t settingsChanges = 0;        ///< so far
  std::uint32_t troubles = 0;               ///< that began or ended so far
  const SDayPlan::SVisit* visit = nullptr;  ///< whose vehicle is plugged in; null: there is none
  bool isHouseMeterGood = true;             ///< and has been for long enough to be read again
  bool isStationMeterGood = true;           ///< likewise
  ipc::ECurrentControlSource stoppedBy{};   ///< none: the vehicle was not stopped
  /// The limit, in mA, that the service has stored; none: there is no such limit. Not to be asked all the
  /// time.
  std::function<std::optional<std::int32_t>(ipc::ECurrentControlSource)> limitOf;
};

/// Something that must hold on every day. One thread.
class CDayRule {
 public:
  using Report = std::function<void(SDayViolation)>;

  CDayRule(std::string name, Report report) : mName(std::move(name)), mReport(std::move(report)) {}
  virtual ~CDayRule() = default;

  /// Whenever charge control has taken a setpoint, at any moment.
  virtual void OnSetpoint(Milliseconds /*at*/, std::uint32_t /*milliAmpere*/, std::uint32_t /*phases*/) {}
  /// Once per second, with everything at rest.
  virtual void OnMoment(const SStationMoment& moment, const SDaySituation& situation) = 0;

 protected:
  void Violate(Milliseconds at, std::string figures) { mReport({at, mName, std::move(figures)}); }

 private:
  const std::string mName;
  const Report mReport;
};
