#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/utility/files.h"
#include "platform/worker/scheduler.h"
#include "src/components/loadbalancing/lbserialnumber.h"

/// What a scripted leader is to do from now on. What is not given stays as it is.
struct SLeaderOrder {
  std::optional<LbSerialNumber> station{};  ///< none: all of them, also those that are not there yet
  std::optional<std::uint32_t> milliAmpere{};
  std::optional<bool> isPhaseDiscovery{};  ///< asked for with each limit
  std::optional<bool> isSilent{};
};

/// What a leader does, and when. The file's form is described in docs/scenarios.md.
struct SLeaderScript {
  struct SEvent {
    Milliseconds at;  ///< from the leader's start
    SLeaderOrder order;
  };
  std::vector<SEvent> events{};
  Milliseconds repeat{0};  ///< 0: once
};

/// Throws CFileError. `name` is the file's, for messages.
SLeaderScript ReadLeaderScript(const std::string& name, std::string text);
SLeaderScript LoadLeaderScript(IFiles& files, const std::filesystem::path& path);
