#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "fuzz/checks.h"
#include "support/p1text.h"

// A check that does not hold ends the process.
TEST(FuzzCorpus, HoldsForEveryInputThatIsKept) {
  int replayed = 0;
  using Checks = std::map<std::string, void (*)(std::span<const std::uint8_t>)>;
  for (const auto& [name, check] : Checks{{"p1parser", ::Checks::P1Parser},
                                          {"p1framing", ::Checks::P1Framing},
                                          {"lbpacketparser", ::Checks::LbPacketParser},
                                          {"lbencryptedpacketparser", ::Checks::LbEncryptedPacketParser}}) {
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(FUZZ_CORPUS) / name)) {
      std::ifstream file(entry.path(), std::ios::binary);
      check(Bytes(std::string(std::istreambuf_iterator<char>(file), {})));
      ++replayed;
    }
  }
  EXPECT_GE(replayed, 28);
}
