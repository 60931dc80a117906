#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "src/communication/icommunicationlistener.h"

/// The station's serial line, as it is to be used.
struct SRs485Line {
  std::string path;
  std::uint32_t baud = 115200;
  /// The line switches its direction by itself: the device is not told to.
  bool autoDirection = false;
};

/// Makes the medium on that line; never null.
using Rs485Creator = std::function<std::shared_ptr<ICommunicationListener>(const SRs485Line& line)>;
