#pragma once

#include <string>
#include <variant>

#include <json/value.h>

#include "src/components/measurementsources/meterreading.h"

/// What a HomeWizard meter measured, as its answers hold it.
namespace HomeWizardReading {

/// The reading, or why there is none, which names the field. Fields may be missing or null; all that are
/// there must be numbers that a house can have.
///
/// A phase's current is the larger of what its current and its power tell, since meters round currents to
/// whole amperes; a phase that feeds in has a negative one. Without any field of a single phase there is no
/// current.
std::variant<SMeterReading, std::string> From(const Json::Value& data);

/// All that changes when the meter measures anew: what the device tells of its own radio is left
/// out.
Json::Value Measured(Json::Value data);

}  // namespace HomeWizardReading
