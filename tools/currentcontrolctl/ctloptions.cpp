#include "tools/currentcontrolctl/ctloptions.h"

#include <array>

#include <fmt/format.h>

#include "tools/currentcontrolctl/commands.h"
#include "tools/display/options.h"

SCtlOptions ReadCtlOptions(std::span<char* const> arguments) {
  static constexpr std::array<option, 4> kOptions{{{"root", required_argument, nullptr, 'r'},
                                                   {"json", no_argument, nullptr, 'j'},
                                                   {"help", no_argument, nullptr, 'h'},
                                                   {nullptr, 0, nullptr, 0}}};
  SCtlOptions options;
  options.words =
      ReadOptions(arguments, "r:jh", kOptions.data(), [&](char letter, const std::string& argument) {
        if (letter == 'r') options.root = argument;
        if (letter == 'j') options.json = true;
        if (letter == 'h') options.help = true;
      });
  if (options.words.empty() && !options.help) throw CUsageError("no command given; --help lists them");
  return options;
}

std::string CtlHelp() {
  std::string text =
      "usage: currentcontrolctl [OPTION] COMMAND\n\n"
      "Asks and tells the current-control service of a charging station.\n\n";
  for (const SCommand& command : Commands()) {
    const std::string words = fmt::format("{} {}", command.name, command.arguments);
    text += fmt::format("  {:<30}{}\n", words, command.help);
  }
  return text +
         "\nSOURCE is a number, an enumerator or a display name: 15, ECurrentControlLocalRestApi, \"Local "
         "REST API\".\n"
         "AMPERES is a number of amperes for each phase such as 16 or 12.5, at most 999. JSON has "
         "milliamperes.\n\n"
         "  -r, --root=PATH               the service's file-system root, / by default\n"
         "  -j, --json                    answer in JSON, one line for each answer\n"
         "  -h, --help                    show this and exit\n\n"
         "Exit status: 0 done, 1 the service says no, 2 wrong usage, 3 the service cannot be reached.\n";
}
