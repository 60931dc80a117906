#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "src/components/loadbalancing/leader/lbgroup.h"
#include "src/components/loadbalancing/toldproblems.h"

/// What the leader's log says of its group. What lasts is told once, and again when it had ended. One thread.
class CLbGroupNews {
 public:
  using Endpoint = ICommunicationListener::IEndpoint;

  // Of the group.

  /// What the settings say that the supply has, in mA.
  void TellSupply(std::uint32_t milliAmpere);
  /// How many stations the settings say that there are, and how many there can be.
  void TellWrongSize(std::int32_t size, std::uint32_t most);
  /// What the group shares while the house's currents are not known, in mA; nothing: they are.
  void TellHouse(std::optional<std::uint32_t> fallback);
  /// Fewer stations were heard than there should be, or more. Once everybody had the time to be found.
  void TellSize(const CLbGroup& group);
  /// The fallback currents by themselves are too much. Once for the same ones: what a house leaves comes and
  /// goes.
  void TellFallbacks(const CLbGroup& group);
  void TellOtherLeader(const Endpoint& endpoint);
  void TellEcho();

  // Of a station.

  static void TellLed(const CLbMember& member);
  static void TellSilent(const CLbMember& member, std::uint32_t keptMilliAmpere);
  void TellVersion(const CLbMember& member, std::uint8_t version, std::uint32_t keptMilliAmpere);
  /// What it says that it falls back to, and what it counts with, in mA.
  void TellFallback(const CLbMember& member, std::uint32_t said, std::uint32_t counted);
  /// What it draws.
  void TellVehicle(const CLbMember& member);
  /// Somebody else has the leader's own serial number.
  void TellOwnSerialNumber(std::string_view address);
  void TellElsewhere(const CLbMember& member, const Endpoint& endpoint);
  void TellRenamed(const CLbMember& member, const LbSerialNumber& serialNumber);
  static void TellSurplus(const LbSerialNumber& serialNumber, std::uint32_t capacity);
  /// It is where it says that it is.
  void SolveElsewhere(const CLbMember& member) { mTold.Solved(KeyOf("elsewhere", member)); }
  /// It is not there any more.
  void Forget(const CLbMember& member);

 private:
  static std::string KeyOf(std::string_view problem, const CLbMember& member);

  CToldProblems mTold;
  std::set<LbSerialNumber> mBadVehicles;
};
