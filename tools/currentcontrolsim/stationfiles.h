#pragma once

#include "platform/utility/files.h"
#include "simulation/virtualstation.h"
#include "tools/currentcontrolsim/simoptions.h"

/// The files of the station that the options ask for; those they do not name are `usual`. Throws CFileError.
CVirtualStation::SFiles ReadStationFiles(IFiles& files, const SSimOptions& options,
                                         CVirtualStation::SFiles usual);

/// Those of a station with a socket and three phases for 32 A, a meter behind a main fuse of 25 A that both
/// blackout protection and solar charging read, and solar charging allowed, but not enabled.
CVirtualStation::SFiles UsualStationFiles();
