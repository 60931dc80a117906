#pragma once

#include <string>

#include "simulation/housemeter.h"

/// The telegram that a three-phase DSMR 5 meter sends of a view, checksum included.
std::string P1TelegramText(const CHouseMeter::SView& view);

/// The same with one digit changed, as a bad line would.
std::string DamagedP1Telegram(std::string telegram);

/// What the meter sends now, by its fate; empty when it is away.
std::string P1TelegramOf(CHouseMeter& meter);
