#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <json/value.h>

#include "src/components/measurementsources/p1record.h"

/// A good telegram's fields and what the service makes of them. Ends with a line end. `lines` are its data
/// lines.
std::string FormatP1Record(const P1::CRecord& record, std::size_t lines);
Json::Value P1RecordToJson(const P1::CRecord& record, std::size_t lines);

/// How many data lines a telegram has, whatever they hold.
std::size_t CountP1Lines(std::string_view telegram);
