#pragma once

#include <cstdio>
#include <cstdlib>

namespace Checks {

inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

}  // namespace Checks
