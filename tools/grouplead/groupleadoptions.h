#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/worker/scheduler.h"
#include "src/components/loadbalancing/lbserialnumber.h"

/// The command line of grouplead.
struct SGroupLeadOptions {
  std::string adapter;                          ///< empty: the line
  std::string line;                             ///< a serial device; empty: the adapter
  bool isLineAutomatic = false;                 ///< it switches its direction by itself
  std::uint16_t group = 0;                      ///< on an adapter
  std::filesystem::path secrets;                ///< on an adapter, unless it is plain
  bool plain = false;                           ///< on an adapter, without encryption
  std::uint32_t milliAmpere = 16000;            ///< for everybody, until the script says otherwise
  std::vector<LbSerialNumber> members;          ///< to be led besides those that are found
  std::filesystem::path script;                 ///< empty: none
  std::optional<Milliseconds> runFor;           ///< none: until told to end
  std::vector<std::filesystem::path> stations;  ///< roots of daemons that are asked for their own view
  std::filesystem::path journal;                ///< empty: none
  std::optional<Milliseconds> tablePeriod;      ///< none: no table
  bool json = false;
  bool help = false;
};

/// Throws CUsageError. The first word is the program's own name.
SGroupLeadOptions ReadGroupLeadOptions(std::span<char* const> arguments);

/// What --help prints.
std::string GroupLeadHelp();
