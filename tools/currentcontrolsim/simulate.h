#pragma once

#include "platform/utility/files.h"
#include "tools/currentcontrolsim/simoptions.h"
#include "tools/currentcontrolsim/simulatedrun.h"

/// What the options ask for, in virtual time and without a word in the log. One thread.
namespace Simulate {

/// Throws CFileError.
SSimulatedRun Scenario(IFiles& files, const SSimOptions& options);

/// A made-up day, in which all rules are checked. Throws CFileError.
SSimulatedRun Day(IFiles& files, const SSimOptions& options, std::uint64_t seed);

}  // namespace Simulate
