#pragma once

#include <functional>

#include "tools/currentcontrolsim/simulatedgroup.h"

namespace Simulate {

/// Plays a plan with whole stations in virtual time. `progress` is called whenever another of its hours is
/// over. One thread.
SSimulatedGroup Group(const SGroupPlan& plan, Milliseconds step,
                      const std::function<void(std::int64_t hours)>& progress = {});

}  // namespace Simulate
