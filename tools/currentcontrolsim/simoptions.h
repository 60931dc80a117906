#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include <json/value.h>

#include "platform/worker/scheduler.h"

struct SSimOptions {
  // What is played: a scenario, or made-up days of a station or of a group.
  std::filesystem::path scenario;
  std::optional<Milliseconds> length;  ///< of the scenario
  std::uint64_t seed = 1;              ///< of the first day
  std::optional<std::uint64_t> days;   ///< none: one, of which everything is told
  std::uint32_t group = 0;             ///< so many stations; 0: one that is in none

  // At which station: an installation's own files, or one that fits what is played.
  std::filesystem::path hwinfo;
  std::filesystem::path settings;
  std::filesystem::path secrets;
  Json::Value overrides{Json::objectValue};  ///< keys of the settings that have other values, or null: none

  // What is told.
  Milliseconds step{10000};
  std::filesystem::path csv;
  std::filesystem::path html;
  bool json = false;
  bool help = false;
};

/// Throws CUsageError.
SSimOptions ReadSimOptions(std::span<char* const> arguments);

std::string SimHelp();
