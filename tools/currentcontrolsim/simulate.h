#pragma once

#include "platform/utility/files.h"
#include "tools/currentcontrolsim/simoptions.h"
#include "tools/currentcontrolsim/simulatedrun.h"

/// What the options ask for, in virtual time with warnings instead of a log. One thread.
namespace Simulate {

/// Throws CFileError.
SSimulatedRun Scenario(IFiles& files, const SSimOptions& options);

/// A made-up day: all rules are checked at its own station, none at another one that the options name. Throws
/// CFileError.
SSimulatedRun Day(IFiles& files, const SSimOptions& options, std::uint64_t seed);

}  // namespace Simulate
