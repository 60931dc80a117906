#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

#include "tools/currentcontrolsim/simulatedrun.h"

/// What a run comes to, in a few figures.
namespace ReportSummary {

struct SFact {
  enum class EState { Neutral, Held, Violated };
  std::string_view name;
  std::string value;
  std::string detail;  ///< may be empty
  EState state = EState::Neutral;
};

std::vector<SFact> Facts(const SSimulatedRun& run);

/// For people; ends with a line end.
std::string ToText(const SSimulatedRun& run);

/// For programs.
Json::Value ToJson(const SSimulatedRun& run);

// The pieces of these, for other reports.
std::string ToText(const std::vector<SFact>& facts);
std::string ToText(const std::vector<SDayViolation>& violations);
Json::Value ToJson(const std::vector<SDayViolation>& violations);
/// `howChecked` is said when all rules held.
SFact RulesFact(const std::vector<SDayViolation>& violations, std::string_view howChecked);
std::string KiloWattHours(std::uint64_t wattHours);

}  // namespace ReportSummary
