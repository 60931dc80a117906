#include "src/components/loadbalancing/lbphaserotation.h"

#include <algorithm>

std::optional<CLbPhaseRotation> CLbPhaseRotation::Parse(std::string_view text) {
  constexpr std::string_view kSupplyPhases = "RST";
  CLbPhaseRotation rotation;
  auto& phases = rotation.mSupplyPhaseOf;
  if (text.empty() || text.size() > phases.size()) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t phase = kSupplyPhases.find(text[i]);
    if (phase == std::string_view::npos || std::ranges::count(phases, phase) != 0) return std::nullopt;
    phases[i] = phase;
  }
  // Phases that are not named take the free places in order, so that no measured current is lost.
  for (std::size_t left = 0; left < phases.size(); ++left) {
    if (std::ranges::count(phases, left) == 0) *std::ranges::find(phases, kNone) = left;
  }
  return rotation;
}

std::array<std::uint32_t, 3> CLbPhaseRotation::ToSupply(const std::array<std::uint32_t, 3>& ofStation) const {
  std::array<std::uint32_t, 3> ofSupply{};
  for (std::size_t i = 0; i < ofStation.size(); ++i) ofSupply[mSupplyPhaseOf[i]] = ofStation[i];
  return ofSupply;
}
