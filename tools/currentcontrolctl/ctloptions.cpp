#include "tools/currentcontrolctl/ctloptions.h"

#include <array>
#include <chrono>
#include <cstdint>

#include <fmt/format.h>

#include "tools/currentcontrolctl/commands.h"
#include "tools/display/options.h"

namespace {

constexpr std::uint64_t kLongestWait = 3600;  // s

}  // namespace

SCtlOptions ReadCtlOptions(std::span<char* const> arguments) {
  static constexpr std::array<option, 6> kOptions{{{"root", required_argument, nullptr, 'r'},
                                                   {"json", no_argument, nullptr, 'j'},
                                                   {"list", no_argument, nullptr, 'l'},
                                                   {"wait", required_argument, nullptr, 'w'},
                                                   {"help", no_argument, nullptr, 'h'},
                                                   {nullptr, 0, nullptr, 0}}};
  SCtlOptions options;
  bool isWaiting = false;
  options.words =
      ReadOptions(arguments, "r:jlw:h", kOptions.data(), [&](char letter, const std::string& argument) {
        if (letter == 'r') options.root = argument;
        if (letter == 'j') options.json = true;
        if (letter == 'l') options.list = true;
        if (letter == 'w') {
          options.wait = std::chrono::seconds(ReadWholeNumber("wait", 1, kLongestWait, argument));
          isWaiting = true;
        }
        if (letter == 'h') options.help = true;
      });
  if (options.words.empty() && !options.help) throw CUsageError("no command given; --help lists them");
  if ((options.list || isWaiting) && !options.help && options.words[0] != "meter")
    throw CUsageError("--list and --wait are for the command meter alone");
  return options;
}

std::string CtlHelp() {
  std::string text =
      "usage: currentcontrolctl [OPTION] COMMAND\n\n"
      "Asks and tells the current-control service of a charging station, and tries its meters.\n\n";
  for (const SCommand& command : Commands()) {
    const std::string words = fmt::format("{} {}", command.name, command.arguments);
    text += fmt::format("  {:<30}{}\n", words, command.help);
  }
  return text +
         "\nSOURCE is a number, an enumerator or a display name: 15, ECurrentControlLocalRestApi, \"Local "
         "REST API\".\n"
         "AMPERES is a number of amperes for each phase such as 16 or 12.5, at most 999. JSON has "
         "milliamperes.\n"
         "FILE holds P1 telegrams as the meter sent them; - is the standard input.\n"
         "PARAMS is a JSON object with the meter's parameters, as BopSourceParameters in settings.json has "
         "it as text.\n\n"
         "  -r, --root=PATH               the service's file-system root, / by default\n"
         "  -j, --json                    answer in JSON, one line for each answer\n"
         "  -l, --list                    of meter: the types and the known Modbus meters\n"
         "  -w, --wait=SECONDS            of meter: how long to wait for a reading, 15 by default\n"
         "  -h, --help                    show this and exit\n\n"
         "Exit status: 0 done, 1 the service says no, the meter cannot be read or the telegram is no good,\n"
         "2 wrong usage, 3 the service cannot be reached.\n";
}
