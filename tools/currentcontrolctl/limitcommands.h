#pragma once

#include "tools/currentcontrolctl/session.h"

// Commands of the service "CurrentControl"; what they take stands in the table of commands.
EExit Get(CSession& session);
EExit Limits(CSession& session);
EExit Watch(CSession& session);
EExit Set(CSession& session);
EExit Clear(CSession& session);
/// Asks nobody.
EExit Sources(CSession& session);
