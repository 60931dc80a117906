#include "simulation/metersettings.h"

#include <stdexcept>

#include <fmt/format.h>

#include "simulation/virtualstation.h"
#include "src/components/settingskeys.h"

std::string MeterParametersInSettings(std::string_view type) {
  using namespace SettingsKeys;
  if (type == kCurrentTransformers || type == kP1Extender) return "";
  if (type == kHomeWizard) return fmt::format(R"({{\"address\": \"{}\"}})", CVirtualStation::kMeterAddress);
  if (type == kModbusTcp) {
    return fmt::format(R"({{\"type\": \"{}\", \"address\": \"{}\"}})", CVirtualStation::kModbusModel,
                       CVirtualStation::kMeterAddress);
  }
  if (type == kModbusRtu) return fmt::format(R"({{\"type\": \"{}\"}})", CVirtualStation::kModbusModel);
  throw std::invalid_argument(fmt::format("there is no kind of meter \"{}\"", type));
}
