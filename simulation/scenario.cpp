#include "simulation/scenario.h"

#include <array>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include "simulation/mainfuse.h"
#include "simulation/strictjson.h"
#include "src/limitationsources/limitationsource.h"
#include "src/limitationsources/limits.h"

namespace {

using CNode = CStrictJson::CNode;

constexpr std::int64_t kMostMilliAmpere = std::int64_t{kNoLimitAmpere} * kMilliAmperePerAmpere;
constexpr std::uint32_t kSteepestRamp = 100000;
constexpr std::uint32_t kMostLoadMilliAmpere = 100000;
constexpr double kColdest = -60.0;
constexpr double kHottest = 200.0;

ipc::ECurrentControlSource ReadSource(const CNode& node) {
  const auto source = ParseSource(node.IsText() ? node.Text() : std::to_string(node.Integer(0, 1000)));
  if (!source) node.Fail("must be a limitation source: its number, enumerator or display name");
  return *source;
}

std::optional<bool> FindBoolean(const CNode& node, std::string_view key) {
  const auto found = node.Find(key);
  return found ? std::optional(found->Boolean()) : std::nullopt;
}

std::optional<std::uint32_t> FindUnsigned(const CNode& node, std::string_view key, std::uint32_t least,
                                          std::uint32_t most) {
  const auto found = node.Find(key);
  return found ? std::optional(static_cast<std::uint32_t>(found->Integer(least, most))) : std::nullopt;
}

/// 1 or 3.
std::optional<std::uint32_t> FindPhases(const CNode& node) {
  const auto phases = FindUnsigned(node, "phases", 1, CVehicle::kPhases);
  if (phases == 2) node.Require("phases").Fail("must be 1 or 3");
  return phases;
}

SScenario::Action ReadSetLimit(const CNode& node) {
  node.AllowKeys({"source", "milliampere", "phases"});
  ipc::MCurrentControlLimit limit;
  limit.set_source(ReadSource(node.Require("source")));
  limit.set_limit(static_cast<std::int32_t>(node.Require("milliampere").Integer(0, kMostMilliAmpere)));
  if (const auto phases = FindPhases(node)) {
    limit.set_number_of_phases(static_cast<std::int32_t>(*phases));
  }
  return SScenario::SSetLimit{limit};
}

SScenario::Action ReadClearLimit(const CNode& node) {
  node.AllowKeys({"source"});
  return SScenario::SClearLimit{ReadSource(node.Require("source"))};
}

std::optional<float> FindCelsius(const CNode& node, std::string_view key) {
  const auto found = node.Find(key);
  return found ? std::optional(static_cast<float>(found->Number(kColdest, kHottest))) : std::nullopt;
}

SScenario::Action ReadVehicle(const CNode& node) {
  node.AllowKeys({"connected", "full", "max-milliampere", "phases", "reaction-ms",
                  "ramp-milliampere-per-second", "ramp-down-milliampere-per-second", "excess-percent",
                  "ignores-phase-count", "whole-amperes"});
  SScenario::SVehicleChange change;
  change.connected = FindBoolean(node, "connected");
  change.full = FindBoolean(node, "full");
  change.maxMilliAmpere =
      FindUnsigned(node, "max-milliampere", CVehicle::kLeastMilliAmpere, CVehicle::kMostMilliAmpere);
  change.phases = FindUnsigned(node, "phases", 1, CVehicle::kPhases);
  const auto longest = static_cast<std::uint32_t>(CVehicle::kLongestReaction.count());
  if (const auto reaction = FindUnsigned(node, "reaction-ms", 0, longest))
    change.reaction = Milliseconds(*reaction);
  change.rampMilliAmperePerSecond = FindUnsigned(node, "ramp-milliampere-per-second", 1, kSteepestRamp);
  change.rampDownMilliAmperePerSecond =
      FindUnsigned(node, "ramp-down-milliampere-per-second", 1, kSteepestRamp);
  change.excessPercent = FindUnsigned(node, "excess-percent", 0, CVehicle::kMostExcessPercent);
  change.ignoresPhaseCount = FindBoolean(node, "ignores-phase-count");
  change.inWholeAmperes = FindBoolean(node, "whole-amperes");
  return change;
}

/// The names in a table of names and what they stand for.
template <class TTable>
std::vector<std::string_view> NamesIn(const TTable& table) {
  std::vector<std::string_view> names;
  for (const auto& [name, meaning] : table) names.push_back(name);
  return names;
}

SScenario::Action ReadPpState(const CNode& node) {
  constexpr std::array<std::pair<std::string_view, ipc::EPpState>, 7> kStates{
      {{"disconnect", ipc::EPpDisconnect},
       {"13A", ipc::EPp13A},
       {"20A", ipc::EPp20A},
       {"32A", ipc::EPp32A},
       {"63A/70A", ipc::EPp63A70A},
       {"error", ipc::EPpError},
       {"invalid", ipc::EPpInvalid}}};
  return SScenario::SPpState{kStates[node.Choice(NamesIn(kStates))].second};
}

SScenario::Action ReadCable(const CNode& node) {
  constexpr std::array<std::pair<std::string_view, std::optional<ipc::EPpState>>, 5> kCables{
      {{"13A", ipc::EPp13A},
       {"20A", ipc::EPp20A},
       {"32A", ipc::EPp32A},
       {"63A/70A", ipc::EPp63A70A},
       {"pull", std::nullopt}}};
  return SScenario::SCable{kCables[node.Choice(NamesIn(kCables))].second};
}

SScenario::Action ReadTemperatures(const CNode& node) {
  node.AllowKeys({"adac", "netm", "mcu"});
  SScenario::STemperatures temperatures{FindCelsius(node, "adac"), FindCelsius(node, "netm"), std::nullopt};
  if (const auto found = node.Find("mcu")) {
    found->AllowKeys({"relay1", "relay2", "earth-leakage-detector1", "earth-leakage-detector2"});
    ipc::MMcuTemperatures& mcu = temperatures.mcu.emplace();
    if (const auto celsius = FindCelsius(*found, "relay1")) mcu.set_relay1(*celsius);
    if (const auto celsius = FindCelsius(*found, "relay2")) mcu.set_relay2(*celsius);
    if (const auto celsius = FindCelsius(*found, "earth-leakage-detector1")) {
      mcu.set_earth_leakage_detector1(*celsius);
    }
    if (const auto celsius = FindCelsius(*found, "earth-leakage-detector2")) {
      mcu.set_earth_leakage_detector2(*celsius);
    }
  }
  return temperatures;
}

SScenario::Action ReadChargeControl(const CNode& node) {
  return SScenario::SChargeControl{node.Choice({"refuse", "accept"}) == 0};
}

SScenario::Action ReadSupervisor(const CNode& node) {
  return SScenario::SSupervisor{node.Choice({"enable", "disable"}) == 0};
}

SScenario::Action ReadHouse(const CNode& node) {
  node.AllowKeys({"l1-milliampere", "l2-milliampere", "l3-milliampere", "fuse-ampere"});
  return SScenario::SHouseChange{
      {FindUnsigned(node, "l1-milliampere", 0, kMostLoadMilliAmpere),
       FindUnsigned(node, "l2-milliampere", 0, kMostLoadMilliAmpere),
       FindUnsigned(node, "l3-milliampere", 0, kMostLoadMilliAmpere)},
      FindUnsigned(node, "fuse-ampere", CMainFuse::kLeastAmpere, CMainFuse::kMostAmpere)};
}

SScenario::Action ReadRoof(const CNode& node) {
  using EWeather = CSolarRoof::EWeather;
  constexpr std::array<std::pair<std::string_view, EWeather>, 3> kWeathers{
      {{"clear", EWeather::Clear}, {"broken-clouds", EWeather::BrokenClouds}, {"rain", EWeather::Rain}}};
  if (node.IsText() && node.Choice({"off"}) == 0) return SScenario::SRoof{};
  node.AllowKeys({"weather", "peak-watt", "phases", "seed", "begins-at"});
  CSolarRoof::SProperties roof;
  roof.weather = kWeathers[node.Require("weather").Choice(NamesIn(kWeathers))].second;
  roof.peakWatt = FindUnsigned(node, "peak-watt", 0, CSolarRoof::kMostPeakWatt).value_or(roof.peakWatt);
  roof.phases = FindPhases(node).value_or(roof.phases);
  if (const auto seed = FindUnsigned(node, "seed", 0, std::numeric_limits<std::uint32_t>::max()))
    roof.seed = *seed;
  const CNode begin = node.Require("begins-at");
  const Milliseconds ofDay = begin.Time();
  if (ofDay >= kDay) begin.Fail("must be a time of day");
  return SScenario::SRoof{roof, ofDay};
}

SScenario::Action ReadSettings(const CNode& node) {
  return SScenario::SSettings{node.Object()};
}

SScenario::Action ReadStationMeter(const CNode& node) {
  return SScenario::SStationMeter{node.Choice({"vanish", "return"}) == 0};
}

SScenario::Action ReadMeteringChip(const CNode& node) {
  using EFate = SScenario::SMeteringChip::EFate;
  constexpr std::array<std::pair<std::string_view, EFate>, 3> kFates{
      {{"reset", EFate::Reset}, {"vanish", EFate::Vanish}, {"return", EFate::Return}}};
  return SScenario::SMeteringChip{kFates[node.Choice(NamesIn(kFates))].second};
}

SScenario::Action ReadMeter(const CNode& node) {
  using EFate = CHouseMeter::EFate;
  constexpr std::array<std::pair<std::string_view, EFate>, 3> kFates{
      {{"vanish", EFate::Away}, {"return", EFate::Good}, {"garble", EFate::Garbled}}};
  return SScenario::SMeter{kFates[node.Choice(NamesIn(kFates))].second};
}

SScenario::Action ReadAction(const CNode& event) {
  using Reader = SScenario::Action (*)(const CNode&);
  constexpr std::array<std::pair<std::string_view, Reader>, 14> kReaders{
      {{"set-limit", ReadSetLimit},
       {"clear-limit", ReadClearLimit},
       {"vehicle", ReadVehicle},
       {"cable", ReadCable},
       {"pp-state", ReadPpState},
       {"temperature", ReadTemperatures},
       {"charge-control", ReadChargeControl},
       {"supervisor", ReadSupervisor},
       {"house", ReadHouse},
       {"roof", ReadRoof},
       {"metering-chip", ReadMeteringChip},
       {"meter", ReadMeter},
       {"station-meter", ReadStationMeter},
       {"settings", ReadSettings}}};
  std::vector<std::string_view> keys = NamesIn(kReaders);
  keys.insert(keys.begin(), "at");
  event.AllowKeys(keys);
  std::optional<SScenario::Action> action;
  for (const auto& [key, read] : kReaders) {
    const auto found = event.Find(key);
    if (!found) continue;
    if (action) found->Fail("must be an event of its own: an event does one thing");
    action = read(*found);
  }
  if (!action) event.Fail("must do something: \"at\" stands alone");
  return *action;
}

SScenario::SEvent ReadEvent(const CNode& node, Milliseconds previous, Milliseconds repeat) {
  SScenario::Action action = ReadAction(node);
  const CNode at = node.Require("at");
  const Milliseconds time = at.Time();
  if (time < previous) at.Fail("must not be earlier than that of the event before");
  if (repeat > Milliseconds{0} && time >= repeat) at.Fail("must be earlier than \"repeat\"");
  return {time, std::move(action)};
}

}  // namespace

SScenario ReadScenario(const std::string& name, std::string text) {
  const CStrictJson file(name, std::move(text));
  const CNode root = file.Root();
  root.AllowKeys({"description", "repeat", "events"});
  if (const auto description = root.Find("description")) description->Text();
  SScenario scenario;
  if (const auto repeat = root.Find("repeat")) {
    scenario.repeat = repeat->Time();
    if (scenario.repeat == Milliseconds{0}) repeat->Fail("must be longer than nothing");
  }
  Milliseconds previous{0};
  for (const CNode& node : root.Require("events").Elements()) {
    scenario.events.push_back(ReadEvent(node, previous, scenario.repeat));
    previous = scenario.events.back().at;
  }
  return scenario;
}

SScenario LoadScenario(IFiles& files, const std::filesystem::path& path) {
  std::string text;
  if (const SFileError error = files.Read(path, text)) {
    throw CFileError("cannot read scenario " + path.string() + ": " + error.reason);
  }
  return ReadScenario(path.string(), std::move(text));
}
