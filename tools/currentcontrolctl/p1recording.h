#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

/// What was recorded at a meter's P1 port, cut into telegrams.
struct SP1Recording {
  struct STelegram {
    std::size_t offset;     ///< in the recording, bytes
    std::string_view text;  ///< from "/" to the checksum, or as much as there is of that
  };

  std::vector<STelegram> telegrams;  ///< all of it when there is no "/" at all
  std::size_t between = 0;           ///< bytes before, between and behind them, line ends not counted
};

/// The telegrams refer to `text`.
SP1Recording CutP1Recording(std::string_view text);
