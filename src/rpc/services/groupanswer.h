#pragma once

#include <optional>

#include "ipc/currentcontrol.pb.h"

#include "src/components/loadbalancing/lbgroupview.h"

/// A station's group as clients get it; of a station that is in none, an empty one. Any thread.
ipc::MGroup ToAnswer(const std::optional<SLbGroupView>& group);
