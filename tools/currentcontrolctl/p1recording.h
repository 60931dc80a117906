#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

/// A byte of a text, and the line in which it is. A CR LF ends one line, and so does each of the two alone.
struct STextPlace {
  std::size_t offset = 0;
  std::size_t line = 1;
  std::size_t lineBegin = 0;  ///< offset

  /// Forward, to the text's end at most.
  void MoveTo(std::string_view text, std::size_t there);
};

/// What was recorded at a meter's P1 port, cut into telegrams.
struct SP1Recording {
  struct STelegram {
    STextPlace begin;       ///< in the recording
    std::string_view text;  ///< from "/" to the checksum, or as much as there is of that
  };

  std::vector<STelegram> telegrams;  ///< all of it when there is no "/" at all
  std::size_t between = 0;           ///< bytes before, between and behind them, line ends not counted
};

/// The telegrams refer to `text`.
SP1Recording CutP1Recording(std::string_view text);
