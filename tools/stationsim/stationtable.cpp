#include "tools/stationsim/stationtable.h"

#include <string_view>

#include <fmt/format.h>

#include "tools/display/limitstable.h"

namespace {

std::string_view ToText(CVehicle::EState state) {
  switch (state) {
    case CVehicle::EState::Absent:
      return "absent";
    case CVehicle::EState::Connected:
      return "connected";
    case CVehicle::EState::Charging:
      return "charging";
    case CVehicle::EState::Full:
      break;
  }
  return "full";
}

std::string FormatArrival(const SStationView& view) {
  if (!view.arrival) return "nothing has arrived yet";
  return fmt::format("{} mA on {} phase{}, {} {} ago", view.arrival->milliAmpere, view.arrival->phases,
                     view.arrival->phases == 1 ? "" : "s", view.arrival->taken ? "taken" : "refused",
                     FormatSpan(view.arrivalAge));
}

}  // namespace

std::string FormatStation(const SStationView& view) {
  std::string text = fmt::format("time       {}\n", FormatSpan(view.time));
  text += view.limits ? FormatLimits(*view.limits) : "current control cannot be reached\n";
  text += fmt::format("charge control  {}\n", FormatArrival(view));
  text += fmt::format("vehicle    {}, draws L1 {}, L2 {}, L3 {}\n", ToText(view.vehicle.state),
                      FormatAmpere(view.vehicle.draw[0]), FormatAmpere(view.vehicle.draw[1]),
                      FormatAmpere(view.vehicle.draw[2]));
  return text;
}
