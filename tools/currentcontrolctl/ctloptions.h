#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "platform/worker/scheduler.h"

/// The command line of currentcontrolctl.
struct SCtlOptions {
  std::filesystem::path root{"/"};
  bool json = false;
  bool help = false;
  bool list = false;
  Milliseconds wait{15000};        ///< longer than a P1 meter that sends every ten seconds
  std::vector<std::string> words;  ///< the command and its arguments; empty only with `help`
};

/// Throws CUsageError. The first word is the program's own name.
SCtlOptions ReadCtlOptions(std::span<char* const> arguments);

/// What --help prints.
std::string CtlHelp();
