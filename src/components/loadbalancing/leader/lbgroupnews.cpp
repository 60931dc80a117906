#include "src/components/loadbalancing/leader/lbgroupnews.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "platform/log/log.h"
#include "src/limitationsources/limits.h"

namespace {

double Ampere(std::uint64_t milliAmpere) {
  return static_cast<double>(milliAmpere) / kMilliAmperePerAmpere;
}

std::string NameOf(const CLbMember& member) {
  return member.IsOwn() ? "This station" : fmt::format("Station {}", ToText(member.SerialNumber()));
}

}  // namespace

void CLbGroupNews::TellSupply(std::uint32_t milliAmpere) {
  if (milliAmpere != 0) return mTold.Solved("supply");
  if (mTold.IsNew("supply", ""))
    LOG_ERROR(
        "Nobody in the group may charge: set GroupLoadBalancingMaxCurrent in settings.json to what it has");
}

void CLbGroupNews::TellWrongSize(std::int32_t size, std::uint32_t most) {
  const bool isTooLarge = size > 0 && static_cast<std::uint32_t>(size) > most;
  if (size > 0 && !isTooLarge) return mTold.Solved("wrong size");
  if (!mTold.IsNew("wrong size", std::to_string(size))) return;
  if (isTooLarge) {
    LOG_WARNING(
        "GroupLoadBalancingGroupSize in settings.json is {}: a group has at most {} stations, which count",
        size, most);
  } else {
    LOG_WARNING(
        "GroupLoadBalancingGroupSize in settings.json is {}: stations of the group that were never heard do "
        "not "
        "count, though they may charge with their fallback current",
        size);
  }
}

void CLbGroupNews::TellHouse(std::optional<std::uint32_t> fallback) {
  if (!fallback) return mTold.Solved("house");
  if (mTold.IsNew("house", ""))
    LOG_WARNING("The currents of the house are not known: the group shares {} A until they are",
                Ampere(*fallback));
}

void CLbGroupNews::TellSize(const CLbGroup& group) {
  const std::uint32_t size = group.Supply().size;
  const std::size_t heard = group.Heard();
  if (size == 0 || size == heard) return mTold.Solved("size");
  if (!mTold.IsNew("size", std::to_string(heard))) return;
  if (size < heard) {
    LOG_WARNING("The group has {} stations, but GroupLoadBalancingGroupSize in settings.json is {}", heard,
                size);
  } else {
    LOG_WARNING("Of the {} stations of the group only {} were heard: {} A are kept for each of the others",
                size, heard, Ampere(group.Supply().ownFallback));
  }
}

void CLbGroupNews::TellFallbacks(const CLbGroup& group) {
  if (group.DoFallbacksFit()) return;
  constexpr std::size_t kMostNamed = 8;
  std::vector<std::string> names;
  for (const CLbMember* const member : group.Members()) {
    if (member->IsOwn() || names.size() == kMostNamed) continue;
    names.push_back(fmt::format("{} {} A", NameOf(*member), Ampere(group.FallbackOf(*member))));
  }
  const std::string list = fmt::format("{}", fmt::join(names, ", "));
  if (!mTold.IsNew("fallbacks", fmt::format("{} {}", group.Fallbacks(), list))) return;
  LOG_WARNING(
      "The fallback currents of the group's {} other stations, {} A together, do not fit into the {} A that "
      "there are: {}{}. When they lose their leader they may draw too much: lower "
      "GroupLoadBalancingFallbackCurrent in their settings.json",
      group.Followers() + group.Unheard(), Ampere(group.Fallbacks()),
      Ampere(std::ranges::min(group.Supply().milliAmpere)), list,
      group.Followers() > kMostNamed ? " and others" : "");
}

void CLbGroupNews::TellOtherLeader(const Endpoint& endpoint) {
  LOG_WARNING(
      "{:s} leads this group, too: while it is heard nobody gets more than the fallback current. Give one of "
      "the two the GroupLoadBalancingRole \"Follower\" in settings.json",
      endpoint.ToString());
}

void CLbGroupNews::TellEcho() {
  if (!mTold.IsNew("echo", "")) return;
  LOG_ERROR(
      "The RS485 line brings back what is sent on it, so that no other station can be found: its board must "
      "not hear itself");
}

void CLbGroupNews::TellLed(const CLbMember& member) {
  LOG_INFO("{} is led.", NameOf(member));
}

void CLbGroupNews::TellSilent(const CLbMember& member, std::uint32_t keptMilliAmpere) {
  LOG_WARNING("{} does not answer any more: {} A are kept for it", NameOf(member), Ampere(keptMilliAmpere));
}

void CLbGroupNews::TellVersion(const CLbMember& member, std::uint8_t version, std::uint32_t keptMilliAmpere) {
  const std::string problem = KeyOf("version", member);
  if (version == kLbProtocolVersion) return mTold.Solved(problem);
  if (!mTold.IsNew(problem, std::to_string(version))) return;
  LOG_WARNING(
      "{} speaks version {} of the group's language, and not {}: it is not led, and {} A are kept for it",
      NameOf(member), version, kLbProtocolVersion, Ampere(keptMilliAmpere));
}

void CLbGroupNews::TellFallback(const CLbMember& member, std::uint32_t said, std::uint32_t counted) {
  const std::string problem = KeyOf("fallback", member);
  if (said == counted) return mTold.Solved(problem);
  if (!mTold.IsNew(problem, "")) return;
  LOG_WARNING("{} says that it falls back to {} A, which no station can have: it counts with {} A",
              NameOf(member), Ampere(said), Ampere(counted));
}

void CLbGroupNews::TellVehicle(const CLbMember& member) {
  const CLbVehicle& vehicle = member.Vehicle();
  const std::uint32_t overdrawn = std::ranges::max(vehicle.Overdrawn());
  if (!vehicle.IsNonsense() && overdrawn == 0) {
    mBadVehicles.erase(member.SerialNumber());
    return;
  }
  if (!mBadVehicles.insert(member.SerialNumber()).second) return;
  if (vehicle.IsNonsense()) {
    LOG_WARNING("{} says that it draws more than any station can: it counts with all that it may draw",
                NameOf(member));
  } else {
    LOG_WARNING("{} draws {} A where it may draw {} A: what it draws is kept for it", NameOf(member),
                Ampere(overdrawn), Ampere(member.Told().Allowed()));
  }
}

void CLbGroupNews::TellOwnSerialNumber(std::string_view address) {
  if (!mTold.IsNew("own", "")) return;
  LOG_WARNING("{:s} has this station's own MainboardSn, and is not led", address);
}

void CLbGroupNews::TellElsewhere(const CLbMember& member, const Endpoint& endpoint) {
  if (!mTold.IsNew(KeyOf("elsewhere", member), "")) return;
  LOG_WARNING("{:s} says that it is {}, which is {:s}: it is not heeded", endpoint.ToString(), NameOf(member),
              member.Address());
}

void CLbGroupNews::TellRenamed(const CLbMember& member, const LbSerialNumber& serialNumber) {
  if (!mTold.IsNew("renamed " + member.Address(), "")) return;
  LOG_WARNING("{:s} was {} and says that it is {} now", member.Address(), NameOf(member),
              ToText(serialNumber));
}

void CLbGroupNews::TellSurplus(const LbSerialNumber& serialNumber, std::uint32_t capacity) {
  LOG_WARNING(
      "A group has at most {} stations besides its leader: {} and all further ones are not led, and charge "
      "with their fallback current; for each this station's own is kept",
      capacity, ToText(serialNumber));
}

void CLbGroupNews::Forget(const CLbMember& member) {
  for (const std::string_view problem : {"version", "elsewhere", "fallback"}) {
    mTold.Solved(KeyOf(problem, member));
  }
  mBadVehicles.erase(member.SerialNumber());
}

std::string CLbGroupNews::KeyOf(std::string_view problem, const CLbMember& member) {
  return fmt::format("{} {}", problem, ToText(member.SerialNumber()));
}
