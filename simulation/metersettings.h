#pragma once

#include <string>
#include <string_view>

/// What the settings must say of the house's meter so that a virtual station finds it: the value of a key for
/// a source's parameters, a JSON text that may stand in a JSON string. Throws std::invalid_argument when
/// there is no such type of meter.
std::string MeterParametersInSettings(std::string_view type);
