#include "tools/display/options.h"

#include <charconv>

#include <fmt/format.h>

std::vector<std::string> ReadOptions(
    std::span<char* const> arguments, const std::string& letters, const option* longOptions,
    const std::function<void(char letter, const std::string& argument)>& take) {
  const std::string quietLetters = ":" + letters;  // the messages are ours
  std::vector<char*> words(arguments.begin(), arguments.end());
  const auto count = static_cast<int>(words.size());
  words.push_back(nullptr);
  optind = 0;  // begins anew
  opterr = 0;
  for (int letter = 0;
       (letter = getopt_long(count, words.data(), quietLetters.c_str(), longOptions, nullptr)) != -1;) {
    const std::string word = words[static_cast<std::size_t>(optind) - 1];
    if (letter == ':') throw CUsageError(fmt::format("option '{}' needs an argument", word));
    if (letter == '?') {
      throw CUsageError(optopt != 0 && !word.starts_with("--")
                            ? fmt::format("unknown option '-{}'", static_cast<char>(optopt))
                            : fmt::format("unknown option '{}'", word));
    }
    take(static_cast<char>(letter), optarg != nullptr ? optarg : "");
  }
  return {words.begin() + optind, words.end() - 1};
}

std::uint64_t ReadWholeNumber(std::string_view option, std::uint64_t least, std::uint64_t most,
                              std::string_view argument) {
  std::uint64_t number = 0;
  const char* const end = argument.data() + argument.size();
  const auto [rest, error] = std::from_chars(argument.data(), end, number);
  if (error != std::errc() || rest != end || number < least || number > most) {
    throw CUsageError(
        fmt::format("--{} takes a whole number from {} to {}, not '{}'", option, least, most, argument));
  }
  return number;
}
