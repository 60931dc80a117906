#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <getopt.h>

/// What is wrong with a command line, in one line.
class CUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Walks through a command line's options and returns the words that are none. `take` gets each option's
/// letter and its argument, if it has one. Throws CUsageError. `longOptions` ends with an entry of zeros. One
/// thread.
std::vector<std::string> ReadOptions(
    std::span<char* const> arguments, const std::string& letters, const option* longOptions,
    const std::function<void(char letter, const std::string& argument)>& take);

/// The argument of `--option`, decimal digits alone, from `least` to `most`. Throws CUsageError.
std::uint64_t ReadWholeNumber(std::string_view option, std::uint64_t least, std::uint64_t most,
                              std::string_view argument);
