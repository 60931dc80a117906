#pragma once

#include <cstdint>
#include <span>
#include <string>

struct STrialOptions {
  std::uint64_t seed = 1;  ///< of the first group
  std::uint64_t count = 100;
  std::uint64_t minutes = 60;
  bool isTold = false;  ///< what happens in it
  bool areMessagesTold = false;
  bool json = false;
  bool help = false;
};

/// Throws CUsageError.
STrialOptions ReadTrialOptions(std::span<char* const> arguments);

std::string TrialHelp();
