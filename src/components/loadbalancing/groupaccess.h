#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "platform/crypto/randomgenerator.h"
#include "platform/network/network.h"
#include "src/communication/icommunicationlistener.h"
#include "src/communication/nocommunicationlistener.h"

using WallClock = std::function<std::chrono::system_clock::time_point()>;

/// The ways to the other stations of a group, real or modelled. One that is not given leads nowhere.
struct SGroupAccess {
  Rs485Creator createRs485 = [](const SRs485Line&) { return std::make_shared<CNoCommunicationListener>(); };
  std::shared_ptr<INetwork> network = {};
  RandomCreator createRandom = {};
  WallClock wallClock = [] { return std::chrono::system_clock::time_point(); };
};
