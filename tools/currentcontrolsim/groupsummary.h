#pragma once

#include <string>
#include <vector>

#include <json/value.h>

#include "tools/currentcontrolsim/reportsummary.h"
#include "tools/currentcontrolsim/simulatedgroup.h"

/// What a group's run comes to, in a few figures and a table of its stations.
namespace GroupSummary {

std::vector<ReportSummary::SFact> Facts(const SSimulatedGroup& group);

/// For people; ends with a line end.
std::string ToText(const SSimulatedGroup& group);

/// For programs.
Json::Value ToJson(const SSimulatedGroup& group);
Json::Value ToJson(const std::vector<SSimulatedGroup::SStation>& stations);
Json::Value ToJson(const std::vector<SSimulatedGroup::STrouble>& troubles);

}  // namespace GroupSummary
