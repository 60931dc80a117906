#include "src/components/measurementsources/cttypes.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr SCtType kTypes[] = {
    {"C-CT-10", 3000.0F, 60, 4},          {"C-CT-16", 3000.0F, 100, 2},   {"C-CT-24", 3000.0F, 200, 1},
    {"TT 50-SD", 3000.0F, 50, 4},         {"TT 100-SD", 3000.0F, 100, 2}, {"SCT013", 2000.0F, 100, 1},
    {"SCT010", 2000.0F, 80, 2},           {"CTK05-14", 3000.0F, 70, 2},   {"C/CT-0810", 3000.0F, 80, 2},
    {"C-CT-1216-50-04", 3000.0F, 150, 1},
};

}  // namespace

const SCtType* FindCtType(std::string_view name) {
  const auto* found = std::ranges::find(kTypes, name, &SCtType::name);
  return found == std::end(kTypes) ? nullptr : found;
}

std::string CtTypeNames() {
  std::string names;
  for (const SCtType& type : kTypes) names.append(names.empty() ? "" : ", ").append(type.name);
  return names;
}
