#pragma once

#include <chrono>
#include <memory>

#include "platform/crypto/randomgenerator.h"
#include "platform/network/network.h"
#include "platform/utility/wallclock.h"
#include "src/communication/nocommunicationlistener.h"
#include "src/communication/rs485line.h"

/// The ways to the other stations of a group, real or modelled. Starting a group over one that is not given
/// fails.
struct SGroupAccess {
  Rs485Creator createRs485 = NoRs485;
  std::shared_ptr<INetwork> network = {};
  RandomCreator createRandom = {};
  WallClock wallClock = [] { return std::chrono::system_clock::time_point(); };
};
