#pragma once

#include "tools/currentcontrolctl/session.h"

/// Decodes and explains the telegrams in a file.
EExit P1Telegrams(CSession& session);
