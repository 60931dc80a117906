#include "simulation/groupevent.h"

#include <fmt/ranges.h>

namespace GroupEvents {
namespace {

constexpr std::uint32_t kMilliAmperePerAmpere = 1000;

std::string Tell(const SPlug& plug) {
  const CVehicle::SProperties& vehicle = plug.vehicle;
  return fmt::format("{} has a vehicle of {} phases, {} mA, that takes {} ms and {} mA/s to follow",
                     plug.station, vehicle.phases, vehicle.maxMilliAmpere, vehicle.reaction.count(),
                     vehicle.rampMilliAmperePerSecond);
}
std::string Tell(const SUnplug& unplug) {
  return fmt::format("{} has no vehicle", unplug.station);
}
std::string Tell(const SFull& full) {
  return fmt::format("the vehicle at {} is full", full.station);
}
std::string Tell(const SPower& power) {
  return fmt::format("{} is switched {}", power.station, power.isOn ? "on" : "off");
}
std::string Tell(const SAdapter& adapter) {
  return fmt::format("the adapter of {} is {}", adapter.station, adapter.isPresent ? "back" : "gone");
}
std::string Tell(const SSplit& split) {
  return split.parts.empty() ? "the medium is whole"
                             : fmt::format("the medium falls into {}", fmt::join(split.parts, " and "));
}
std::string Tell(const SNoise& noise) {
  return fmt::format("of 1000 packets {} are lost and {} come twice, up to {} ms late", noise.lossPerMille,
                     noise.duplicationPerMille, noise.longestDelay.count());
}
std::string Tell(const SCapacity& capacity) {
  return fmt::format("the supply has {} A", capacity.ampere);
}
std::string Tell(const SHouse& house) {
  std::array<double, 3> ampere{};
  for (std::size_t phase = 0; phase < ampere.size(); ++phase)
    ampere[phase] = static_cast<double>(house.milliAmpere[phase]) / kMilliAmperePerAmpere;
  return fmt::format("the house takes {} A", fmt::join(ampere, ", "));
}
std::string Tell(const SSecondLeader& leader) {
  return fmt::format("{} is a {}", leader.station, leader.begins ? "leader, too" : "follower again");
}

}  // namespace

std::string ToText(const What& what) {
  return std::visit([](const auto& each) { return Tell(each); }, what);
}

}  // namespace GroupEvents
