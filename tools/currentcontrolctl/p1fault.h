#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <json/value.h>

#include "src/components/measurementsources/p1telegram.h"
#include "tools/currentcontrolctl/p1recording.h"

/// What is wrong with a telegram, for somebody who looks for the reason.
struct SP1Fault {
  struct SChecksum {
    std::uint16_t given;
    std::uint16_t computed;
  };

  std::string_view text;  ///< as the service logs it
  // In the recording; lines and columns from 1.
  std::size_t byte;
  std::size_t line;
  std::size_t column;
  std::string shownLine;  ///< the part of the line around it, printable; empty at the end of the recording
  std::size_t caret;      ///< in that, from 0
  std::optional<SChecksum> checksum;  ///< when it is the wrong one
  std::string hint;                   ///< or empty
};

SP1Fault ExplainP1Fault(std::string_view recording, const SP1Recording::STelegram& telegram,
                        const P1::SResult& result);

/// Ends with a line end.
std::string FormatP1Fault(const SP1Fault& fault);
Json::Value P1FaultToJson(const SP1Fault& fault);
