#pragma once

#include <ostream>

#include "tools/currentcontrolsim/simulatedrun.h"

/// One page that shows the run in plots, complete in itself: a browser fetches nothing else for it.
void WriteHtml(std::ostream& out, const SSimulatedRun& run);
