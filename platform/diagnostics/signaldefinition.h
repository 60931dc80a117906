#pragma once

#include <cstdint>
#include <string_view>

#include "platform/worker/scheduler.h"

/// What a diagnostics signal is, written down once in a table.
struct CSignalDefinition {
  enum class EKind {
    Boolean,
    Text,
    Floats,  ///< a list, one element per phase for example
    Event    ///< a text that happened; every one counts
  };

  std::uint32_t number;
  std::string_view name;
  EKind kind;
};
