#include "tools/stationsim/stationoptions.h"

#include <array>
#include <chrono>
#include <cstdint>

#include <fmt/format.h>

#include "tools/display/options.h"

namespace {

constexpr std::uint32_t kMostSeconds = 1000000;

}  // namespace

SStationOptions ReadStationOptions(std::span<char* const> arguments) {
  static constexpr std::array<option, 7> kOptions{{{"root", required_argument, nullptr, 'r'},
                                                   {"scenario", required_argument, nullptr, 's'},
                                                   {"seconds", required_argument, nullptr, 'n'},
                                                   {"fuse", required_argument, nullptr, 'f'},
                                                   {"table", no_argument, nullptr, 't'},
                                                   {"help", no_argument, nullptr, 'h'},
                                                   {nullptr, 0, nullptr, 0}}};
  SStationOptions options;
  const auto words =
      ReadOptions(arguments, "r:s:n:f:th", kOptions.data(), [&](char letter, const std::string& argument) {
        if (letter == 'r') options.root = argument;
        if (letter == 's') options.scenario = argument;
        if (letter == 'n') {
          options.runFor = std::chrono::seconds(ReadWholeNumber("seconds", 1, kMostSeconds, argument));
        }
        if (letter == 'f') {
          options.fuseAmpere = static_cast<std::uint32_t>(
              ReadWholeNumber("fuse", CMainFuse::kLeastAmpere, CMainFuse::kMostAmpere, argument));
        }
        if (letter == 't') options.table = true;
        if (letter == 'h') options.help = true;
      });
  if (!words.empty()) throw CUsageError(fmt::format("'{}' is no option", words.front()));
  if (options.root.empty() && !options.help) throw CUsageError("--root PATH is needed");
  return options;
}

std::string StationHelp() {
  return "usage: stationsim --root PATH [OPTION]\n\n"
         "A charging station for the current-control service to run in: offers every service that it calls, "
         "acts as\n"
         "its supervisor, and has a vehicle at the plug, in a house with a main fuse and a metering chip, "
         "which it\n"
         "shows below var/sysfs-links/bop. At the end it lets the service end too.\n\n"
         "  -r, --root=PATH      the file-system root that the service was started with\n"
         "  -s, --scenario=FILE  what happens, from the moment when the service is enabled\n"
         "  -n, --seconds=N      end after N seconds; otherwise at Ctrl-C\n"
         "  -f, --fuse=AMPERE    the main fuse's rating; otherwise 25\n"
         "  -t, --table          show limits, setpoint, vehicle and house, once per second\n"
         "  -h, --help           show this and exit\n\n"
         "Exit status: 0 ended as told, 1 cannot run, 2 wrong usage or scenario.\n";
}
