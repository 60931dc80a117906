#include "tools/blackoutevenings/eveningoptions.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "src/components/settingskeys.h"
#include "tools/display/options.h"

namespace {

/// For an evening's number and for how many there are.
constexpr std::uint64_t kMost = 1000000000;

}  // namespace

SEveningOptions ReadEveningOptions(std::span<char* const> arguments) {
  static constexpr std::array<option, 8> kOptions{{{"seed", required_argument, nullptr, 's'},
                                                   {"count", required_argument, nullptr, 'c'},
                                                   {"meter", required_argument, nullptr, 'm'},
                                                   {"trace", no_argument, nullptr, 't'},
                                                   {"reaction", no_argument, nullptr, 'r'},
                                                   {"json", no_argument, nullptr, 'j'},
                                                   {"help", no_argument, nullptr, 'h'},
                                                   {nullptr, 0, nullptr, 0}}};
  SEveningOptions options;
  const auto words =
      ReadOptions(arguments, "s:c:m:trjh", kOptions.data(), [&](char letter, const std::string& argument) {
        if (letter == 's') options.seed = ReadWholeNumber("seed", 0, kMost, argument);
        if (letter == 'c') options.count = ReadWholeNumber("count", 1, kMost, argument);
        if (letter == 'm') options.meter = argument;
        if (letter == 't') options.trace = true;
        if (letter == 'r') options.reaction = true;
        if (letter == 'j') options.json = true;
        if (letter == 'h') options.help = true;
      });
  if (!words.empty()) throw CUsageError(fmt::format("'{}' is no option", words.front()));
  constexpr std::array kMeters{SettingsKeys::kCurrentTransformers, SettingsKeys::kP1Extender,
                               SettingsKeys::kHomeWizard, SettingsKeys::kModbusTcp, SettingsKeys::kModbusRtu};
  if (std::ranges::find(kMeters, options.meter) == kMeters.end()) {
    throw CUsageError(fmt::format("'{}' is no type of meter", options.meter));
  }
  if (int{options.trace} + int{options.reaction} + int{options.json} > 1) {
    throw CUsageError("--trace, --reaction and --json exclude each other");
  }
  return options;
}

std::string EveningHelp() {
  return "usage: blackoutevenings [OPTION]\n\n"
         "Plays made-up half-hours of a house, its main fuse and its charging station in virtual time, with\n"
         "the application that ships, and watches that the fuse holds and the vehicle gets what there is.\n\n"
         "  -s, --seed=N   the first evening (1); each next one has the next number\n"
         "  -c, --count=N  how many (100)\n"
         "  -m, --meter=TYPE  what measures the house: ct (else), p1extender, homewizard, modbustcp, "
         "modbusrtu\n"
         "  -t, --trace    print the first evening as CSV instead: a line for every 250 ms, currents in mA\n"
         "  -r, --reaction print the slowest reaction to an overload as CSV instead: a line for every 50 "
         "ms,\n"
         "                 currents in mA\n"
         "  -j, --json     print the result as JSON\n"
         "  -h, --help     show this and exit\n\n"
         "Exit status: 0 all held, 1 something did not, 2 wrong usage.\n";
}
