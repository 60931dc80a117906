#pragma once

#include <string>

#include "src/components/loadbalancing/lbserialnumber.h"

/// "12-34-ABC-DE1"; the bytes in hexadecimal where they are no serial number of a station.
std::string ToText(const LbSerialNumber& serialNumber);
