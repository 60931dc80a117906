#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fuzz/checks.h"

namespace {

/// Every input that is kept for a fuzzer; a check that does not hold ends the test's process.
int Replay(const std::string& name, void (*check)(std::span<const std::uint8_t>)) {
  int replayed = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(FUZZ_CORPUS) / name)) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> text(std::istreambuf_iterator<char>(file), {});
    check(std::vector<std::uint8_t>(text.begin(), text.end()));
    ++replayed;
  }
  return replayed;
}

TEST(FuzzCorpus, HoldsForEveryInputThatIsKept) {
  EXPECT_GT(Replay("p1parser", Checks::P1Parser), 0);
  EXPECT_GT(Replay("p1framing", Checks::P1Framing), 0);
}

}  // namespace
