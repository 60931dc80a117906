#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "statemachines/utils/statemachinesutility.h"

/// Where the process stands. The numbers are those of `ipc::EProcessState`.
enum class EProcessState : std::uint8_t {
  Uninitialized,
  Initializing,
  Commissioning,  ///< initialised, components not at work
  Enabling,       ///< also while in service: once enabled it stays here until told otherwise
  Disabling,
  Recovering,  ///< something failed; nothing is at work until a request tries again
  Terminating  ///< for good
};

/// For people.
constexpr std::string_view ToText(EProcessState state) {
  constexpr std::array<std::string_view, 7> kNames{
      "Uninitialized", "Initializing", "Commissioning", "Enabling", "Disabling", "Recovering", "Terminating"};
  return StateMachinesUtility::NameIn(kNames, state);
}
