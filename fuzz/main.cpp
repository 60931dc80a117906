#include <cstddef>
#include <cstdint>
#include <span>

#include "fuzz/checks.h"

// Called by libFuzzer, which brings the main function; which check it is, the build says.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Checks::FUZZ_CHECK(std::span(data, size));
  return 0;
}
