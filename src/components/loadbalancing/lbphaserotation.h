#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

/// Which of the supply's phases R, S and T the station's L1, L2 and L3 are connected to: "RST", or "STR"
/// where L1 is on S. A station with fewer phases may name only those that it has; the others follow in
/// their order.
class CLbPhaseRotation {
 public:
  /// Nothing: the text names another phase, one twice, or none.
  static std::optional<CLbPhaseRotation> Parse(std::string_view text);

  /// What stands for L1 to L3 in the order R, S, T.
  std::array<std::uint32_t, 3> ToSupply(const std::array<std::uint32_t, 3>& ofStation) const;

 private:
  static constexpr std::size_t kNone = 3;
  std::array<std::size_t, 3> mSupplyPhaseOf{kNone, kNone, kNone};
};
