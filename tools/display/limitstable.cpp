#include "tools/display/limitstable.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

#include "src/limitationsources/limitationsource.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr std::uint32_t kTenths = 10;

/// What a source has to do with the setpoint, for the mark in front and the words behind its limit.
struct SRole {
  char mark;
  std::string_view text;
};

SRole RoleOf(ipc::ECurrentControlSource source, const ipc::MCurrentControlLimits& limits) {
  const bool decidesPhases = source == limits.phase_source();
  if (source == limits.current_source())
    return {'>', decidesPhases ? "decides current and phases" : "decides current"};
  const bool isNext = source == limits.runner_up().source();
  if (decidesPhases) return {'>', isNext ? "decides phases, runner-up" : "decides phases"};
  return isNext ? SRole{'+', "runner-up"} : SRole{' ', ""};
}

}  // namespace

std::string FormatAmpere(std::int64_t milliAmpere) {
  const std::int64_t size = milliAmpere < 0 ? -milliAmpere : milliAmpere;
  return fmt::format("{}{}.{:03} A", milliAmpere < 0 ? "-" : "", size / kMilliAmperePerAmpere,
                     size % kMilliAmperePerAmpere);
}

std::string FormatSpan(Milliseconds span) {
  const std::int64_t seconds = std::max<std::int64_t>(0, span.count()) / 1000;
  return fmt::format("{:02}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

std::string FormatTenths(std::uint32_t milliAmpere) {
  return fmt::format("{}.{}", milliAmpere / kMilliAmperePerAmpere,
                     milliAmpere % kMilliAmperePerAmpere * kTenths / kMilliAmperePerAmpere);
}

std::string FormatAge(Milliseconds age) {
  constexpr std::int64_t kMillisecondsPerSecond = 1000;
  return fmt::format("{}.{} s", age.count() / kMillisecondsPerSecond,
                     age.count() % kMillisecondsPerSecond * kTenths / kMillisecondsPerSecond);
}

std::string FormatSource(ipc::ECurrentControlSource source) {
  const auto name = FindDisplayName(SourceToString(source));
  if (!name && source == ipc::ECurrentControlNone) return "Unknown source";
  return name ? std::string(*name) : fmt::format("Unknown source ({})", static_cast<int>(source));
}

std::string FormatSetpoint(const ipc::MCurrentControlLimit& setpoint) {
  if (setpoint.limit() < 0) return "none yet";
  return fmt::format("{} on {} phase{}", FormatAmpere(setpoint.limit()), setpoint.number_of_phases(),
                     setpoint.number_of_phases() == 1 ? "" : "s");
}

std::string FormatLimits(const ipc::MCurrentControlLimits& limits) {
  std::string text = fmt::format("  {:<26}{:>10}  {:>6}  {:>8}\n", "SOURCE", "LIMIT", "PHASES", "FOR");
  for (const ipc::MStoredLimit& limit : limits.limits()) {
    const SRole role = RoleOf(limit.source(), limits);
    const std::string line =
        fmt::format("{} {:<26}{:>10}  {:>6}  {:>8}  {}", role.mark, FormatSource(limit.source()),
                    FormatAmpere(limit.limit()), limit.number_of_phases(),
                    FormatSpan(Milliseconds(limit.unchanged_for_ms())), role.text);
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  text += fmt::format("setpoint   {}", FormatSetpoint(limits.setpoint()));
  if (limits.setpoint().limit() >= 0) {
    text += fmt::format(": current by {}, phases by {}", FormatSource(limits.current_source()),
                        FormatSource(limits.phase_source()));
  }
  text += fmt::format("\nrunner-up  {} by {}\n", FormatSetpoint(limits.runner_up()),
                      FormatSource(limits.runner_up().source()));
  return text;
}
