#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/mdns/servicediscovery.h"

/// The HomeWizard meters that a search has found, and which of them is the one that is meant. One thread.
class CHomeWizardFinds {
 public:
  struct SMeter {
    std::string address;  ///< "host:port"
    std::string serial;   ///< in lower case
    std::string productType;
    bool isApiOff = false;  ///< it says that it cannot be read
  };

  /// True: it was not known yet. Devices that are no meters are passed over, and more than a few too.
  bool Note(const SFoundService& service);
  void Clear() { mMeters.clear(); }

  /// The one with this serial number. Without one, the only meter that there is, where those for smart meters
  /// go before others. Else nothing, and why: never a guess, since the others may be the neighbours'.
  std::optional<SMeter> Choose(const std::string& serial, std::string& reason) const;

 private:
  std::map<std::string, SMeter> mMeters;  // by serial number
};
