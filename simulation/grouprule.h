#pragma once

#include <functional>
#include <string>
#include <utility>

#include "simulation/groupmoment.h"

/// What did not hold in a group.
struct SGroupViolation {
  Milliseconds at;
  std::string rule;     ///< the same words in every group
  std::string figures;  ///< by how much
};

/// Something that must hold in every group. One thread.
class CGroupRule {
 public:
  using Report = std::function<void(SGroupViolation)>;

  CGroupRule(std::string name, Report report) : mName(std::move(name)), mReport(std::move(report)) {}
  virtual ~CGroupRule() = default;

  /// A message has left a station.
  virtual void OnMessage(const SGroupMoment& /*moment*/) {}
  /// Something has changed at that station, or a message has left it.
  virtual void OnChange(const SGroupMoment& /*moment*/, MediumStation /*number*/) {}
  /// Once per second, with everything at rest.
  virtual void OnSecond(const SGroupMoment& /*moment*/) {}

 protected:
  void Violate(Milliseconds at, std::string figures) { mReport({at, mName, std::move(figures)}); }

 private:
  const std::string mName;
  const Report mReport;
};
