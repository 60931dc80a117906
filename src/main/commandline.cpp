#include "src/main/commandline.h"

#include <array>

#include <getopt.h>

namespace {

constexpr auto kShortOptions = "hqsvr:";
constexpr std::array<option, 5> kLongOptions{{{"help", no_argument, nullptr, 'h'},
                                              {"quiet", no_argument, nullptr, 'q'},
                                              {"root", required_argument, nullptr, 'r'},
                                              {"verbose", no_argument, nullptr, 'v'},
                                              {nullptr, 0, nullptr, 0}}};

void WriteUsage(std::ostream& output, const std::string& program, const std::string& root) {
  output << "usage: " << program
         << " [OPTION]\n"
            "  -v, --verbose    increase verbosity  -q, --quiet      disable logging to console\n"
            "  -r, --root=PATH  set the filesystem root directory\n"
            "                   defaults to '"
         << root
         << "'\n"
            "  -h, --help       show this help message and exit\n"
         << std::endl;
}

}  // namespace

std::optional<SCommandLine> ParseCommandLine(int argumentCount, char* arguments[], std::ostream& output) {
  SCommandLine commandLine;
  optind = 0;  // from the start: getopt also forgets its place inside an earlier word
  for (;;) {
    const int option = getopt_long(argumentCount, arguments, kShortOptions, kLongOptions.data(), nullptr);
    switch (option) {
      case -1:
        return commandLine;
      case 'v':
        commandLine.logLevel = Log::GetLowerLogLevel(commandLine.logLevel);
        Log::SetLogLevel(commandLine.logLevel);
        break;
      case 'q':
        Log::EnableConsoleLogging(false);
        break;
      case 'r':
        commandLine.root = optarg;
        break;
      default:
        WriteUsage(output, arguments[0], commandLine.root);
        return std::nullopt;
    }
  }
}
