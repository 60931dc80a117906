#pragma once

#include <cstdint>
#include <string>

#include "ipc/currentcontrol.pb.h"

#include "platform/worker/scheduler.h"

/// "12.500 A"
std::string FormatAmpere(std::int64_t milliAmpere);

/// "12.5": in A; rounded down, as nobody is told more than there is.
std::string FormatTenths(std::uint32_t milliAmpere);

/// "00:01:05"
std::string FormatSpan(Milliseconds span);

/// "0.6 s"
std::string FormatAge(Milliseconds age);

/// "Local REST API"; "Unknown source (99)" for a number without a name.
std::string FormatSource(ipc::ECurrentControlSource source);

/// "12.500 A on 3 phases", or that there is none yet.
std::string FormatSetpoint(const ipc::MCurrentControlLimit& setpoint);

/// Every limit in an aligned table that marks who decides and who is next, and below it the setpoint and what
/// it would be without the source that decides. Ends with a line end.
std::string FormatLimits(const ipc::MCurrentControlLimits& limits);
