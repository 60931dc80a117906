#include "tools/stationsim/stationoptions.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "src/components/measurementsources/modbusmetermodels.h"
#include "tools/display/options.h"

namespace {

using namespace SettingsKeys;

constexpr std::uint32_t kMostSeconds = 1000000;
constexpr std::uint64_t kMostPort = 65535;
constexpr std::array kMeterTypes{kCurrentTransformers, kP1Extender, kHomeWizard, kModbusTcp, kModbusRtu};

/// "p1extender,modbustcp"
std::vector<std::string> ReadTypes(const std::string& argument) {
  std::vector<std::string> types;
  for (std::size_t begin = 0; begin <= argument.size();) {
    const std::size_t end = std::min(argument.find(',', begin), argument.size());
    types.push_back(argument.substr(begin, end - begin));
    begin = end + 1;
    if (std::ranges::find(kMeterTypes, types.back()) == kMeterTypes.end()) {
      throw CUsageError(
          fmt::format("--meter takes some of {}, not '{}'", fmt::join(kMeterTypes, ","), types.back()));
    }
  }
  return types;
}

void CheckModel(const SMeterChoice& meters, std::string_view type, EModbusConnectionKind kind) {
  const auto* model = FindModbusMeterModel(meters.model);
  if (meters.Has(type) && (model == nullptr || !model->Has(kind)))
    throw CUsageError(fmt::format("'{}' is no meter for {}", meters.model, type));
}

void CheckMeters(const SMeterChoice& meters) {
  CheckModel(meters, kModbusTcp, EModbusConnectionKind::Tcp);
  CheckModel(meters, kModbusRtu, EModbusConnectionKind::Rtu);
  if (meters.Has(kP1Extender) && meters.Has(kModbusRtu))
    throw CUsageError("p1extender and modbusrtu are on the same serial line");
  if (meters.port != 0 && meters.Has(kHomeWizard) == meters.Has(kModbusTcp))
    throw CUsageError("--meter-port needs one of homewizard and modbustcp");
}

}  // namespace

SStationOptions ReadStationOptions(std::span<char* const> arguments) {
  static constexpr std::array<option, 10> kOptions{{{"root", required_argument, nullptr, 'r'},
                                                    {"scenario", required_argument, nullptr, 's'},
                                                    {"seconds", required_argument, nullptr, 'n'},
                                                    {"fuse", required_argument, nullptr, 'f'},
                                                    {"meter", required_argument, nullptr, 'm'},
                                                    {"model", required_argument, nullptr, 'o'},
                                                    {"meter-port", required_argument, nullptr, 'p'},
                                                    {"table", no_argument, nullptr, 't'},
                                                    {"help", no_argument, nullptr, 'h'},
                                                    {nullptr, 0, nullptr, 0}}};
  SStationOptions options;
  const auto words = ReadOptions(
      arguments, "r:s:n:f:m:o:p:th", kOptions.data(), [&](char letter, const std::string& argument) {
        if (letter == 'r') options.root = argument;
        if (letter == 's') options.scenario = argument;
        if (letter == 'n') {
          options.runFor = std::chrono::seconds(ReadWholeNumber("seconds", 1, kMostSeconds, argument));
        }
        if (letter == 'f') {
          options.fuseAmpere = static_cast<std::uint32_t>(
              ReadWholeNumber("fuse", CMainFuse::kLeastAmpere, CMainFuse::kMostAmpere, argument));
        }
        if (letter == 'm') options.meters.types = ReadTypes(argument);
        if (letter == 'o') options.meters.model = argument;
        if (letter == 'p') {
          options.meters.port =
              static_cast<std::uint16_t>(ReadWholeNumber("meter-port", 1, kMostPort, argument));
        }
        if (letter == 't') options.table = true;
        if (letter == 'h') options.help = true;
      });
  if (!words.empty()) throw CUsageError(fmt::format("'{}' is no option", words.front()));
  if (options.root.empty() && !options.help) throw CUsageError("--root PATH is needed");
  CheckMeters(options.meters);
  return options;
}

std::string StationHelp() {
  return "usage: stationsim --root PATH [OPTION]\n\n"
         "A charging station for the current-control service to run in: offers every service that it calls, "
         "acts as\n"
         "its supervisor, and has a vehicle at the plug, in a house with a main fuse and meters. At the "
         "end it\n"
         "lets the service end too.\n\n"
         "  -r, --root=PATH      the file-system root that the service was started with\n"
         "  -s, --scenario=FILE  what happens, from the moment when the service is enabled\n"
         "  -n, --seconds=N      end after N seconds; otherwise at Ctrl-C\n"
         "  -f, --fuse=AMPERE    the main fuse's rating; otherwise 25\n"
         "  -m, --meter=TYPE,..  the house's meters: ct (the metering chip; otherwise that alone), "
         "p1extender "
         "on dev/ttymxc4\n"
         "                       below PATH, homewizard, which is announced to the network, modbustcp, "
         "modbusrtu on dev/ttymxc4\n"
         "  -o, --model=NAME     what Modbus meter it is; otherwise siemens_pac2200\n"
         "  -p, --meter-port=N   the port of the meter on the network; otherwise one that is free\n"
         "  -t, --table          show limits, setpoint, vehicle and house, once per second\n"
         "  -h, --help           show this and exit\n\n"
         "Exit status: 0 ended as told, 1 cannot run, 2 wrong usage or scenario.\n";
}
