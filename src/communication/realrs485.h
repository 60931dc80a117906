#pragma once

#include "platform/worker/scheduler.h"
#include "src/communication/rs485line.h"

/// The machine's own serial lines. The scheduler outlives them.
Rs485Creator RealRs485(IScheduler& scheduler);
