#pragma once

#include <ostream>

#include "tools/currentcontrolsim/simulatedgroup.h"

/// One page that shows the group's run in plots, complete in itself: a browser fetches nothing else for it.
void WriteHtml(std::ostream& out, const SSimulatedGroup& group);
