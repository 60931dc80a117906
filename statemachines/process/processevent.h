#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "statemachines/utils/statemachinesutility.h"

/// What moves the process from state to state: requests from outside (Ext), and what the machine itself
/// raises when a piece of work has ended (Int).
enum class EProcessEvent : std::uint8_t {
  ExtClearMeasurementSourceConnection = 0,
  ExtDisableReq = 1,
  ExtEnableReq = 2,
  ExtInitializeReq = 3,
  ExtRecoverReq = 4,
  ExtSetMeasurementSourceConnection = 5,  ///< carries an ipc::MMeasurementSource
  ExtTerminateReq = 6,
  IntDisablingDone,
  IntEnablingDone,
  IntEnablingFailed,
  IntInitializingDone,
  IntInitializingFailed,
  IntRecoveringDone,
  IntRecoveringFailed,
  IntTerminatingDone
};

/// For people: requests by what they ask for.
constexpr std::string_view ToText(EProcessEvent event) {
  constexpr std::array<std::string_view, 15> kNames{
      "ClearMeasurementSourceConnection",
      "Disable",
      "Enable",
      "Initialize",
      "Recover",
      "SetMeasurementSourceConnection",
      "Terminate",
      "DisablingDone",
      "EnablingDone",
      "EnablingFailed",
      "InitializingDone",
      "InitializingFailed",
      "RecoveringDone",
      "RecoveringFailed",
      "TerminatingDone",
  };
  return StateMachinesUtility::NameIn(kNames, event);
}
