#pragma once

#include <cstddef>
#include <cstdint>

#include "src/components/measurementsources/meterreading.h"

/// What a telegram holds. A telegram that is no good holds nothing.
struct SP1Output : SMeterReading {
  bool success = false;  ///< checksum and grammar were good
};

/// Turns the telegrams of a smart meter's P1 port into measurements.
class IP1Parser {
 public:
  virtual ~IP1Parser() = default;
  /// From the "/" to the checksum's four characters; what follows them is ignored. One thread at a time.
  virtual SP1Output Parse(const std::uint8_t* data, std::size_t length) = 0;
  /// Writes what the last telegram held to the dump file. Any thread.
  virtual void DumpLastReceivedData() = 0;
};
