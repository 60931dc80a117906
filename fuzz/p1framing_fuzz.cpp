#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/checks.h"
#include "fuzz/require.h"
#include "src/components/measurementsources/p1framing.h"

namespace Checks {
namespace {

constexpr auto kEndless = "endless";
constexpr std::size_t kChecksumLength = 4;
constexpr std::uint32_t kWhole = 0;

/// In pieces of pseudo-random sizes up to `longest`, or at once.
std::vector<std::string> Framed(std::span<const std::uint8_t> bytes, std::uint32_t longest) {
  std::vector<std::string> found;
  CP1Framing framing(
      [&found](std::span<const std::uint8_t> telegram) {
        found.emplace_back(telegram.begin(), telegram.end());
      },
      [&found] { found.emplace_back(kEndless); });
  std::uint32_t random = longest;
  while (!bytes.empty()) {
    random = random * 1664525U + 1013904223U;
    const std::size_t piece = longest == kWhole ? bytes.size() : 1 + (random >> 16U) % longest;
    const std::size_t length = std::min(bytes.size(), piece);
    framing.Feed(bytes.first(length));
    bytes = bytes.subspan(length);
  }
  return found;
}

/// The same by looking at everything at once: what each "/" begins goes on until the next.
std::vector<std::string> Expected(std::string_view text) {
  std::vector<std::string> expected;
  for (std::size_t start = text.find('/'); start != std::string_view::npos;) {
    const std::size_t next = text.find('/', start + 1);
    const std::string_view begun = text.substr(start, next == std::string_view::npos ? next : next - start);
    const std::size_t mark = begun.find('!');
    const std::size_t whole = mark == std::string_view::npos ? mark : mark + 1 + kChecksumLength;
    if (begun.size() >= whole && whole <= CP1Framing::kLongestTelegram) {
      expected.emplace_back(begun.substr(0, whole));
    } else if (begun.size() > CP1Framing::kLongestTelegram) {
      expected.emplace_back(kEndless);
    } else if (mark != std::string_view::npos && next != std::string_view::npos) {
      expected.emplace_back(begun);
    }
    start = next;
  }
  return expected;
}

}  // namespace

void P1Framing(std::span<const std::uint8_t> input) {
  if (input.empty()) return;
  const std::uint32_t longest = input.front() * 3U + 1U;
  const auto bytes = input.subspan(1);
  const auto expected = Expected({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  Require(Framed(bytes, longest) == expected, "pieces of any size hold the same telegrams");
  Require(Framed(bytes, kWhole) == expected, "all of it at once does");
}

}  // namespace Checks
