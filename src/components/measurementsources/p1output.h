#pragma once

#include "src/components/measurementsources/ip1parser.h"
#include "src/components/measurementsources/p1record.h"

namespace P1 {

/// What a good telegram says of the house connection. Results that do not fit into 32 bits are the nearest
/// that do.
SP1Output ToOutput(const CRecord& record);

}  // namespace P1
