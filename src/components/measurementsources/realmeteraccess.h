#pragma once

#include <filesystem>

#include "platform/worker/scheduler.h"
#include "src/components/measurementsources/meteraccess.h"

/// The machine's own ways to meters, with the metering chip that has its attributes below `root`. The
/// scheduler outlives them.
SMeterAccess RealMeterAccess(IScheduler& scheduler, const std::filesystem::path& root);
