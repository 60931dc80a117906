#pragma once

#include "tools/currentcontrolctl/session.h"

/// Shows the group as the station sees it. That it is in none is an answer, too.
EExit Group(CSession& session);
