#pragma once

#include <cstdint>
#include <span>
#include <string>

struct SEveningOptions {
  std::uint64_t seed = 1;  ///< of the first evening
  std::uint64_t count = 100;
  std::string meter = "ct";  ///< type of the one that measures the house
  bool trace = false;
  bool reaction = false;
  bool json = false;
  bool help = false;
};

/// Throws CUsageError.
SEveningOptions ReadEveningOptions(std::span<char* const> arguments);

std::string EveningHelp();
