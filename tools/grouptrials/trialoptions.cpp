#include "tools/grouptrials/trialoptions.h"

#include <array>

#include <fmt/format.h>

#include "tools/display/options.h"

namespace {

/// For a group's number and for how many there are.
constexpr std::uint64_t kMost = 1000000000;
/// A week.
constexpr std::uint64_t kMostMinutes = 7 * 24 * 60;

}  // namespace

STrialOptions ReadTrialOptions(std::span<char* const> arguments) {
  static constexpr std::array<option, 8> kOptions{{{"seed", required_argument, nullptr, 's'},
                                                   {"count", required_argument, nullptr, 'c'},
                                                   {"minutes", required_argument, nullptr, 'm'},
                                                   {"told", no_argument, nullptr, 't'},
                                                   {"messages", no_argument, nullptr, 'M'},
                                                   {"json", no_argument, nullptr, 'j'},
                                                   {"help", no_argument, nullptr, 'h'},
                                                   {nullptr, 0, nullptr, 0}}};
  STrialOptions options;
  bool isCounted = false;
  const auto words =
      ReadOptions(arguments, "s:c:m:tMjh", kOptions.data(), [&](char letter, const std::string& argument) {
        if (letter == 's') options.seed = ReadWholeNumber("seed", 0, kMost, argument);
        if (letter == 'c') options.count = ReadWholeNumber("count", 1, kMost, argument);
        if (letter == 'c') isCounted = true;
        if (letter == 'm') options.minutes = ReadWholeNumber("minutes", 1, kMostMinutes, argument);
        if (letter == 't') options.isTold = true;
        if (letter == 'M') options.isTold = options.areMessagesTold = true;
        if (letter == 'j') options.json = true;
        if (letter == 'h') options.help = true;
      });
  if (!words.empty()) throw CUsageError(fmt::format("'{}' is no option", words.front()));
  if (options.isTold && (options.json || isCounted))
    throw CUsageError("--told is for one group, and excludes --count and --json");
  return options;
}

std::string TrialHelp() {
  return "usage: grouptrials [OPTION]\n\n"
         "Plays made-up groups of stations in virtual time, with the leader and the followers that ship, "
         "and\n"
         "watches that the supply is safe, that everybody gets their share, and that the group finds "
         "together\n"
         "again whatever happens to it.\n\n"
         "  -s, --seed=N     the first group (1); each next one has the next number\n"
         "  -c, --count=N    how many (100)\n"
         "  -m, --minutes=N  how long each is watched (60)\n"
         "  -t, --told       play the first one alone, and tell what happens in it\n"
         "  -M, --messages   likewise, with every message that is sent\n"
         "  -j, --json       print the result as JSON\n"
         "  -h, --help       show this and exit\n\n"
         "Exit status: 0 all held, 1 something did not, 2 wrong usage.\n";
}
