#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "ipc/currentcontrol.pb.h"

/// Who may set a source's limit, as a client is told that asks to.
enum class ESetter {
  Hidden,     ///< for clients there is no such source, though a component may set it
  Component,  ///< only a component of the service may
  Client      ///< clients may
};

/// What may limit the charging current, as people and programs name it.
struct SLimitationSource {
  ipc::ECurrentControlSource value;
  std::string_view enumerator;   ///< in log lines and diagnostics signals
  std::string_view displayName;  ///< for users
  float changeThreshold;         ///< A; what moves the current by less is not forwarded
  ESetter setter;
};

/// Every source, in order of value.
std::span<const SLimitationSource> LimitationSources();

/// The enumerator's name; "Unknown source" for a value that is no source.
std::string_view SourceToString(ipc::ECurrentControlSource source);

/// The display name of an enumerator; none if there is no such enumerator.
std::optional<std::string_view> FindDisplayName(std::string_view enumerator);

/// A; none for values without a threshold of their own. Value 0 has one, though it is no source.
std::optional<float> FindChangeThreshold(ipc::ECurrentControlSource source);

/// `Hidden` for values that are no source, except that clients may set value 0.
ESetter SetterOf(ipc::ECurrentControlSource source);

/// A source as a person may write it: a number (any, whether or not it is a source), an enumerator or a
/// display name, the names in any case.
std::optional<ipc::ECurrentControlSource> ParseSource(std::string_view text);
