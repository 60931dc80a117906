#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "simulation/groupevent.h"

/// A group of stations, the supply that they share, and what happens to them: made up from a seed. Much
/// happens for a while, then nothing for a while, so that it can be seen what the group makes of it, and so
/// on.
///
/// Between two vehicles at a station at least `kBetweenVehicles` pass, as nobody is quicker.
struct SGroupPlan {
  static constexpr std::uint32_t kMostStations = 32;
  static constexpr std::uint32_t kMostOnLine = 31;
  static constexpr Milliseconds kBetweenVehicles{20000};
  static constexpr Milliseconds kLongestReaction{26000};
  static constexpr Milliseconds kBusy{300000};
  static constexpr Milliseconds kQuiet{300000};
  static constexpr std::uint16_t kGroupId = 7;

  enum class EMedium : std::uint8_t { Network, Line };
  struct SStation {
    std::string serialNumber{};
    std::uint32_t fallbackAmpere = 0;
    std::string rotation = "RST";
  };

  std::uint64_t seed = 0;  ///< of whatever else is random
  EMedium medium = EMedium::Network;
  std::vector<SStation> stations{};   ///< with the numbers from 1 on; the first one leads
  std::uint32_t groupSize = 0;        ///< as the leader was told; 0: nothing
  std::uint32_t capacityAmpere = 0;   ///< of the supply, at first
  std::uint32_t fuseAmpere = 0;       ///< of the house that the supply belongs to; 0: nobody watches it
  std::vector<SGroupEvent> events{};  ///< in order of time; nothing has power before they say so
  Milliseconds length{0};

  /// The same for the same seed, on every machine; a whole number of busy and quiet spans.
  static SGroupPlan Make(std::uint64_t seed, Milliseconds length);

  const SStation& Station(MediumStation number) const { return stations.at(number - 1); }
  MediumStation Last() const { return static_cast<MediumStation>(stations.size()); }
  /// One line: what sets this group apart.
  std::string Summary() const;
  // What the group needs of a station's files.
  Json::Value Settings(MediumStation number) const;
  Json::Value Hwinfo(MediumStation number) const;
  static Json::Value Secrets();
  /// What makes a leader or a follower of a station.
  static Json::Value Role(bool isLeader);
};
