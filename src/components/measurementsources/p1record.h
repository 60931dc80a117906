#pragma once

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "src/components/measurementsources/p1field.h"

namespace P1 {

/// What one telegram holds of the fields that are parsed. Takes no memory from the heap.
class CRecord {
 public:
  static constexpr std::size_t kVersionLength = 2;

  void Clear() { mPresent.reset(); }
  bool Has(EField field) const { return mPresent[Index(field)]; }

  /// Empty when it is missing.
  std::string_view Version() const {
    return {mVersion.data(), Has(EField::Version) ? kVersionLength : std::size_t{0}};
  }
  /// Of `kVersionLength`.
  void SetVersion(std::string_view version) {
    std::ranges::copy(version.substr(0, kVersionLength), mVersion.begin());
    mPresent.set(Index(EField::Version));
  }

  /// A number field in thousandths of its unit.
  std::optional<std::int32_t> Thousandths(EField field) const {
    return Has(field) ? std::optional(mThousandths[Index(field)]) : std::nullopt;
  }
  void SetThousandths(EField field, std::int32_t value) {
    mThousandths[Index(field)] = value;
    mPresent.set(Index(field));
  }

 private:
  static constexpr std::size_t Index(EField field) { return static_cast<std::size_t>(field); }

  std::bitset<kFieldCount> mPresent;
  std::array<char, kVersionLength> mVersion{};
  std::array<std::int32_t, kFieldCount> mThousandths{};
};

}  // namespace P1
