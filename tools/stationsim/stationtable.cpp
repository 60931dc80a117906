#include "tools/stationsim/stationtable.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
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

std::string_view ToText(CHouseMeter::EFate fate) {
  switch (fate) {
    case CHouseMeter::EFate::Good:
      return "good";
    case CHouseMeter::EFate::Away:
      return "away";
    case CHouseMeter::EFate::Garbled:
      break;
  }
  return "sends what is damaged";
}

std::string FormatArrival(const SStationView& view) {
  if (!view.arrival) return "nothing has arrived yet";
  return fmt::format("{} mA on {} phase{}, {} {} ago", view.arrival->milliAmpere, view.arrival->phases,
                     view.arrival->phases == 1 ? "" : "s", view.arrival->taken ? "taken" : "refused",
                     FormatSpan(view.arrivalAge));
}

/// The household's current as '#' and the vehicle's as '=' on top, against the fuse's rating at the '|'.
/// Household and vehicle, or what is fed into the grid.
std::string FormatBar(const CHouse::SView& house, std::size_t phase) {
  const std::uint64_t rating = house.fuse.RatingMilliAmpere();
  const bool isFedIn = house.net[phase] < 0;
  constexpr std::size_t kCellsOfRating = 24;
  constexpr std::size_t kCells = 36;
  const auto cells = [rating](std::uint64_t milliAmpere) {
    const std::uint64_t count = (milliAmpere * kCellsOfRating + rating / 2) / rating;
    return count < kCells ? static_cast<std::size_t>(count) : kCells;
  };
  std::string bar(kCells, ' ');
  const std::uint32_t total = house.total[phase];
  std::fill_n(bar.begin(), cells(total), isFedIn ? '<' : '=');
  if (!isFedIn) std::fill_n(bar.begin(), cells(std::min(house.load[phase], total)), '#');
  return fmt::format("{}|{}", std::string_view(bar).substr(0, kCellsOfRating),
                     std::string_view(bar).substr(kCellsOfRating));
}

std::string FormatFuse(const CMainFuse& fuse) {
  if (const auto phase = fuse.TrippedPhase())
    return fmt::format("HAS TRIPPED on L{}: the house is dark", *phase);
  constexpr double kPercent = 100;
  return fmt::format("holds, at {:.0f} % of the heat that trips it; {:.0f} % was the most",
                     kPercent * fuse.Heat(), kPercent * fuse.HighestHeat());
}

std::string FormatHouse(const CHouse::SView& house) {
  std::string text = fmt::format("      household #   vehicle =   at the fuse of {} |\n",
                                 FormatAmpere(house.fuse.RatingMilliAmpere()));
  for (std::size_t i = 0; i < house.total.size(); ++i) {
    text += fmt::format("  L{}  {:>11} {:>11} {:>13}  {}\n", i + 1, FormatAmpere(house.load[i]),
                        FormatAmpere(house.vehicle[i]), FormatAmpere(house.net[i]), FormatBar(house, i));
  }
  if (house.generation != CHouse::Currents{}) {
    text +=
        fmt::format("roof       gives {}, {}, {}; negative at the fuse, < in the bar, is fed into the grid\n",
                    FormatAmpere(house.generation[0]), FormatAmpere(house.generation[1]),
                    FormatAmpere(house.generation[2]));
  }
  return text + fmt::format("main fuse  {}\n", FormatFuse(house.fuse));
}

std::string_view FormatChip(const std::optional<CMeteringChip::SConfiguration>& chip) {
  if (!chip) return "away";
  return chip->run != 0 ? "measures" : "stands still, not configured";
}

}  // namespace

std::string FormatStation(const SStationView& view) {
  std::string text = fmt::format("time       {}\n", FormatSpan(view.time));
  text += view.limits ? FormatLimits(*view.limits) : "current control cannot be reached\n";
  text += fmt::format("charge control  {}\n", FormatArrival(view));
  text += fmt::format("vehicle    {}\n", ToText(view.vehicle));
  text += FormatHouse(view.house);
  if (view.hasTransformers) text += fmt::format("metering chip  {}\n", FormatChip(view.chip));
  for (const auto& offer : view.offers)
    text += fmt::format("meter      {} {}: {}\n", offer.type, offer.place, ToText(view.fate));
  return text;
}
