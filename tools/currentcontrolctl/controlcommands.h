#pragma once

#include "tools/currentcontrolctl/session.h"

// Commands of the services "CurrentControlGenCtrl" and "CurrentControlLog".
EExit Initialize(CSession& session);
EExit Enable(CSession& session);
EExit Disable(CSession& session);
EExit Recover(CSession& session);
EExit Terminate(CSession& session);
EExit Alive(CSession& session);
EExit State(CSession& session);
EExit LogLevel(CSession& session);
