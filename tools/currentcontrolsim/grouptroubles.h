#pragma once

#include <vector>

#include "tools/currentcontrolsim/simulatedgroup.h"

/// What fails in a plan, from when to when, in order of its begin.
std::vector<SSimulatedGroup::STrouble> TroublesOf(const SGroupPlan& plan);
