#include "tools/currentcontrolsim/simoptions.h"

#include <array>
#include <chrono>

#include <fmt/format.h>

#include "platform/utility/jsontext.h"
#include "simulation/groupplan.h"
#include "tools/display/options.h"

namespace {

constexpr std::uint64_t kMostSeed = 1000000000;
constexpr std::uint64_t kMostDays = 1000000;
constexpr std::uint64_t kMostHours = 24 * 366;
constexpr std::uint64_t kMostStep = 3600;
constexpr std::uint64_t kFewestStations = 2;

/// KEY=VALUE, where the value is JSON, or else a text as it stands.
void ReadOverride(const std::string& argument, Json::Value& overrides) {
  const std::size_t equals = argument.find('=');
  if (equals == 0 || equals == std::string::npos) {
    throw CUsageError(
        fmt::format("--set takes KEY=VALUE, such as SolarChargingEnable=true, not '{}'", argument));
  }
  const std::string text = argument.substr(equals + 1);
  Json::Value object;
  const bool isJson = JsonText::ParseObject(fmt::format("{{\"value\":{}}}", text), object).empty() &&
                      object.size() == 1 && object.isMember("value");
  overrides[argument.substr(0, equals)] = isJson ? object["value"] : Json::Value(text);
}

void ReadRoot(const std::filesystem::path& root, SSimOptions& options) {
  options.hwinfo = root / "etc" / "hwinfo.json";
  options.settings = root / "etc" / "settings.json";
  options.secrets = root / "etc" / "secrets.json";
}

/// Which options were there.
struct SGiven {
  bool seed = false;
  bool root = false;
  bool file = false;
};

void CheckGroup(const SSimOptions& options, const SGiven& given) {
  if (!options.scenario.empty() || options.length || options.days)
    throw CUsageError("--group plays one made-up day of a group: leave --scenario, --hours and --days out");
  if (given.root || given.file || !options.overrides.empty())
    throw CUsageError("--group makes its stations up: leave --root, --hwinfo, --settings and --set out");
}

void Check(const SSimOptions& options, const SGiven& given) {
  if (options.group != 0) return CheckGroup(options, given);
  const bool isScenario = !options.scenario.empty();
  if (isScenario && (given.seed || options.days))
    throw CUsageError("--scenario plays a file, --seed and --days play made-up days: give one of them");
  if (options.length && !isScenario) throw CUsageError("--hours is for a --scenario; a made-up day has 24");
  if (options.days && !(options.csv.empty() && options.html.empty()))
    throw CUsageError("--csv and --html show one run: give --seed without --days");
  if (given.root && given.file)
    throw CUsageError("--root names all files: leave --hwinfo and --settings out");
}

}  // namespace

SSimOptions ReadSimOptions(std::span<char* const> arguments) {
  static constexpr std::array<option, 15> kOptions{{{"scenario", required_argument, nullptr, 's'},
                                                    {"hours", required_argument, nullptr, 'n'},
                                                    {"seed", required_argument, nullptr, 'd'},
                                                    {"days", required_argument, nullptr, 'D'},
                                                    {"group", required_argument, nullptr, 'g'},
                                                    {"root", required_argument, nullptr, 'r'},
                                                    {"hwinfo", required_argument, nullptr, 'w'},
                                                    {"settings", required_argument, nullptr, 'f'},
                                                    {"set", required_argument, nullptr, 'k'},
                                                    {"step", required_argument, nullptr, 'p'},
                                                    {"csv", required_argument, nullptr, 'c'},
                                                    {"html", required_argument, nullptr, 'H'},
                                                    {"json", no_argument, nullptr, 'j'},
                                                    {"help", no_argument, nullptr, 'h'},
                                                    {nullptr, 0, nullptr, 0}}};
  SSimOptions options;
  SGiven given;
  const auto words =
      ReadOptions(arguments, "s:n:d:D:g:r:w:f:k:p:c:H:jh", kOptions.data(),
                  [&](char letter, const std::string& argument) {
                    if (letter == 's') options.scenario = argument;
                    if (letter == 'n')
                      options.length = std::chrono::hours(ReadWholeNumber("hours", 1, kMostHours, argument));
                    if (letter == 'd') options.seed = ReadWholeNumber("seed", 0, kMostSeed, argument);
                    if (letter == 'D') options.days = ReadWholeNumber("days", 1, kMostDays, argument);
                    if (letter == 'g')
                      options.group = static_cast<std::uint32_t>(
                          ReadWholeNumber("group", kFewestStations, SGroupPlan::kMostStations, argument));
                    if (letter == 'r') ReadRoot(argument, options);
                    if (letter == 'w') options.hwinfo = argument;
                    if (letter == 'f') options.settings = argument;
                    if (letter == 'k') ReadOverride(argument, options.overrides);
                    if (letter == 'p')
                      options.step = std::chrono::seconds(ReadWholeNumber("step", 1, kMostStep, argument));
                    if (letter == 'c') options.csv = argument;
                    if (letter == 'H') options.html = argument;
                    if (letter == 'j') options.json = true;
                    if (letter == 'h') options.help = true;
                    given.seed = given.seed || letter == 'd';
                    given.root = given.root || letter == 'r';
                    given.file = given.file || letter == 'w' || letter == 'f';
                  });
  if (!words.empty()) throw CUsageError(fmt::format("'{}' is no option; --help lists them", words.front()));
  Check(options, given);
  return options;
}

std::string SimHelp() {
  return R"(usage: currentcontrolsim [--scenario FILE | --seed N] [--group N] [OPTION]

Runs a charging station in virtual time, with the application that ships, in a house with a main fuse,
a roof that gives solar power and vehicles that come and go, and shows what it did and why.

What is played:
  -s, --scenario=FILE  what happens is in the file (docs/scenarios.md)
  -n, --hours=N        so long; otherwise once through it, or to its last event and an hour more
  -d, --seed=N         a made-up day (1); the same number gives the same day everywhere
  -D, --days=N         that day and those with the next numbers; tells only which broke a rule
  -g, --group=N        a day of 2 to 32 stations that share a supply: the first one leads, households and
                       roofs are behind the same main fuse, and sometimes the network, a station or the
                       leader fails

At which station, if not at one that fits; a group's are always made up. A day's rules are about its own
station: at another one only the main fuse counts.
  -r, --root=PATH      an installation's own etc/hwinfo.json, settings.json and secrets.json below PATH
  -w, --hwinfo=FILE    its hardware description
  -f, --settings=FILE  its settings; a HomeWizard meter is at 192.168.1.20 or found by its name, other
                       meters wherever they are looked for
  -k, --set=KEY=VALUE  another value for a key of the settings; may be given again; null removes the key

What is told, besides a summary:
  -H, --html=FILE      a page with plots that a browser shows without a network
  -c, --csv=FILE       a table with a header
  -p, --step=SECONDS   between two rows or points of them (10)
  -j, --json           the summary as JSON
  -h, --help           show this and exit

Exit status: 0 good, 1 a rule was broken or the main fuse tripped, 2 wrong usage or a file that cannot
be read or written.
)";
}
