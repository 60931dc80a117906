#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

#include "src/components/measurementsources/meterreading.h"

/// What a meter tells, a line for each quantity and a column for each phase. Ends with a line end.
std::string FormatReading(const SMeterReading& reading);
/// What is not measured is left out.
Json::Value ReadingToJson(const SMeterReading& reading);

/// The settings with which blackout protection uses the meter, as they stand in the file.
std::string FormatSettings(std::string_view type, const Json::Value& parameters);
