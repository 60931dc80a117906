#pragma once

#include <ostream>

#include "tools/currentcontrolsim/simulatedgroup.h"

/// A header with units and a row for every point, for spreadsheets and scripts.
void WriteCsv(std::ostream& out, const SSimulatedGroup& group);
