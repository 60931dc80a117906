#pragma once

#include "platform/worker/scheduler.h"
#include "src/components/loadbalancing/groupaccess.h"

/// The machine's own ways to a group. The scheduler outlives them.
SGroupAccess RealGroupAccess(IScheduler& scheduler);
