#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

/// A generator of random bytes that nobody can foretell. Results are the cryptographic library's codes: 0 is
/// success. One thread at a time.
class IRandomGenerator {
 public:
  virtual ~IRandomGenerator() = default;

  /// Once, first.
  virtual int Init() = 0;
  virtual int GenerateBlock(std::span<std::uint8_t> block) = 0;
};

using RandomCreator = std::function<std::unique_ptr<IRandomGenerator>()>;
