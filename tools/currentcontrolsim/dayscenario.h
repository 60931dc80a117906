#pragma once

#include "simulation/dayplan.h"
#include "simulation/scenario.h"
#include "simulation/virtualstation.h"

/// What happens on a made-up day, for a station that is not the day's own: its fuse is the one in that
/// station's settings, if they name one, and of `kept` keys the user changes none.
SScenario ToScenario(const SDayPlan& plan, const CVirtualStation::SFiles& station, const Json::Value& kept);
