#pragma once

#include <ostream>

#include "tools/currentcontrolsim/simulatedrun.h"

/// A header with units and a row for every moment, for spreadsheets and scripts.
void WriteCsv(std::ostream& out, const SSimulatedRun& run);
