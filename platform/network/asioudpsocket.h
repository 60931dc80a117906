#pragma once

#include <memory>
#include <string>

#include "platform/network/network.h"

/// A socket of the machine. `Open` starts its thread; destroying it closes it.
std::unique_ptr<IUdpSocket> CreateAsioUdpSocket(const std::string& threadName);
