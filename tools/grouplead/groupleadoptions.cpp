#include "tools/grouplead/groupleadoptions.h"

#include <array>
#include <chrono>
#include <limits>

#include <fmt/format.h>

#include "src/limitationsources/limits.h"
#include "tools/display/options.h"

namespace {

constexpr std::uint32_t kMostSeconds = 1000000;

LbSerialNumber ReadMember(const std::string& argument) {
  const auto serialNumber = ToLbSerialNumber(argument);
  if (!serialNumber) {
    throw CUsageError(
        fmt::format("--member takes a serial number such as 12-34-ABC-DE1, not '{}'", argument));
  }
  return *serialNumber;
}

std::chrono::seconds ReadSeconds(std::string_view option, const std::string& argument) {
  return std::chrono::seconds(ReadWholeNumber(option, 1, kMostSeconds, argument));
}

void Take(SGroupLeadOptions& options, char letter, const std::string& argument) {
  if (letter == 'a') options.adapter = argument;
  if (letter == 'i') options.line = argument;
  if (letter == 'd') options.isLineAutomatic = true;
  if (letter == 'g') {
    options.group = static_cast<std::uint16_t>(
        ReadWholeNumber("group", 1, std::numeric_limits<std::uint16_t>::max(), argument));
  }
  if (letter == 'p') options.secrets = argument;
  if (letter == 'u') options.plain = true;
  if (letter == 'l') {
    options.milliAmpere = static_cast<std::uint32_t>(ReadWholeNumber("limit", 0, kNoLimitAmpere, argument)) *
                          std::uint32_t{kMilliAmperePerAmpere};
  }
  if (letter == 'm') options.members.push_back(ReadMember(argument));
  if (letter == 's') options.script = argument;
  if (letter == 'n') options.runFor = ReadSeconds("seconds", argument);
  if (letter == 'r') options.stations.emplace_back(argument);
  if (letter == 'o') options.journal = argument;
  if (letter == 't') options.tablePeriod = ReadSeconds("table", argument);
  if (letter == 'j') options.json = true;
  if (letter == 'h') options.help = true;
}

void CheckOneOf(bool isFirst, bool isSecond, const std::string& problem) {
  if (isFirst == isSecond) throw CUsageError(problem + (isFirst ? ", not both" : ""));
}

void CheckAdapter(const SGroupLeadOptions& options) {
  if (options.group == 0) throw CUsageError("--adapter needs --group N");
  CheckOneOf(!options.secrets.empty(), options.plain, "--adapter needs one of --secrets FILE and --plain");
  if (options.isLineAutomatic) throw CUsageError("--auto-direction is for a --line");
}

void CheckLine(const SGroupLeadOptions& options) {
  if (options.group != 0 || !options.secrets.empty() || options.plain)
    throw CUsageError("--group, --secrets and --plain are for an --adapter");
  if (options.members.empty() && options.stations.empty())
    throw CUsageError("on a line stations cannot be found: name them by --member or --station");
}

void Check(const SGroupLeadOptions& options) {
  CheckOneOf(!options.adapter.empty(), !options.line.empty(),
             "one of --adapter NAME and --line DEVICE is needed");
  if (options.line.empty()) {
    CheckAdapter(options);
  } else {
    CheckLine(options);
  }
  if (options.tablePeriod && options.json) throw CUsageError("--table and --json exclude each other");
}

}  // namespace

SGroupLeadOptions ReadGroupLeadOptions(std::span<char* const> arguments) {
  static constexpr std::array<option, 16> kOptions{{{"adapter", required_argument, nullptr, 'a'},
                                                    {"line", required_argument, nullptr, 'i'},
                                                    {"auto-direction", no_argument, nullptr, 'd'},
                                                    {"group", required_argument, nullptr, 'g'},
                                                    {"secrets", required_argument, nullptr, 'p'},
                                                    {"plain", no_argument, nullptr, 'u'},
                                                    {"limit", required_argument, nullptr, 'l'},
                                                    {"member", required_argument, nullptr, 'm'},
                                                    {"script", required_argument, nullptr, 's'},
                                                    {"seconds", required_argument, nullptr, 'n'},
                                                    {"station", required_argument, nullptr, 'r'},
                                                    {"journal", required_argument, nullptr, 'o'},
                                                    {"table", required_argument, nullptr, 't'},
                                                    {"json", no_argument, nullptr, 'j'},
                                                    {"help", no_argument, nullptr, 'h'},
                                                    {nullptr, 0, nullptr, 0}}};
  SGroupLeadOptions options;
  const auto words =
      ReadOptions(arguments, "a:i:dg:p:ul:m:s:n:r:o:t:jh", kOptions.data(),
                  [&options](char letter, const std::string& argument) { Take(options, letter, argument); });
  if (!words.empty()) throw CUsageError(fmt::format("'{}' is no option; --help lists them", words.front()));
  if (!options.help) Check(options);
  return options;
}

std::string GroupLeadHelp() {
  return R"(usage: grouplead --adapter NAME --group N --secrets FILE [OPTION]
       grouplead --line DEVICE --member SERIAL [OPTION]

Leads a group of charging stations: finds them, and tells each what it may draw, as its script says. It shares
nothing out. Prints a line for everything that happens.

  -a, --adapter=NAME    the network adapter that leads to the stations
  -g, --group=N         the group's number, 1 to 65535
  -p, --secrets=FILE    holds the group's password, as a station's etc/secrets.json does:
                        {"GroupLoadBalancingPassword": "..."}
  -u, --plain           instead: packets without encryption, to look at them; no station of ours follows those
  -i, --line=DEVICE     the RS485 line that leads to the stations
  -d, --auto-direction  the line switches its direction by itself
  -m, --member=SERIAL   a station to lead, such as 12-34-ABC-DE1; on a line none is found. May be repeated
  -l, --limit=AMPERE    what they may draw until the script says otherwise; otherwise 16
  -s, --script=FILE     what they are told, and when (docs/scenarios.md):
                        {"repeat": "00:01:00", "orders": [{"at": "00:00:10", "station": "12-34-ABC-DE1",
                         "milliampere": 0, "phase-discovery": true, "silent": false}]}
  -n, --seconds=N       end after N seconds; otherwise at Ctrl-C
  -r, --station=ROOT    show what current control below that root decides, too. May be repeated
  -t, --table=SECONDS   a table of all stations, too, so often
  -j, --json            instead, once per second all stations as a line of JSON
  -o, --journal=FILE    write these lines of JSON to a file, besides
  -h, --help            show this and exit

Exit status: 0 ended as told, 1 cannot run, 2 wrong usage, script or secrets, 3 ended and has never led a station.
)";
}
