#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "platform/log/log.h"

/// What the command line says about this run.
struct SCommandLine {
  Log::ELogLevel logLevel = Log::ELogLevel::Info;
  std::string root = "/";  ///< as given, with or without a separator at its end
};

/// Acts on the options in the order given: -v and -q take effect on the log at once. Nothing when the usage
/// text was written to `output` instead, because it was asked for or because an option is not understood; the
/// process ends with status 1 then. Main thread, before any other exists.
std::optional<SCommandLine> ParseCommandLine(int argumentCount, char* arguments[], std::ostream& output);
