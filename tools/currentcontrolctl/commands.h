#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "tools/currentcontrolctl/session.h"

/// What the program can be asked to do. The help is made from the same table.
struct SCommand {
  std::string_view name;
  std::string_view arguments;  ///< for people: "SOURCE AMPERES [PHASES]"
  std::string_view help;
  std::size_t leastArguments;
  std::size_t mostArguments;
  EExit (*run)(CSession& session);
};

std::span<const SCommand> Commands();

/// Carries out the session's command.
EExit RunCommand(CSession& session);
