#pragma once

#include "tools/currentcontrolctl/session.h"

/// Reads a meter as the service would, without it.
EExit Meter(CSession& session);
