#include "src/components/loadbalancing/leader/lbprefixwalk.h"

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "simulation/random.h"

namespace {

/// Walks once where those stations are, who are silent once they are found, and answers are lost. The calls
/// that it took.
int Walk(std::set<std::string>& stations, std::uint64_t lossPercent, CRandom& random) {
  CLbPrefixWalk walk(8);
  int calls = 0;
  for (walk.Begin(); !walk.IsOver(); ++calls) {
    const CLbPrefixWalk::SPrefix asked = walk.Next();
    const bool isAnswered = std::ranges::any_of(stations, [&](const std::string& station) {
      return HasLbPrefix(*ToLbSerialNumber(station), asked.bits, asked.length);
    });
    if (!isAnswered || random.Below(100) < lossPercent) {
      walk.Skip();
      continue;
    }
    walk.Descend();
    if (asked.IsWhole()) stations.erase(ToText(asked.bits));
  }
  return calls;
}

TEST(LbPrefixWalk, FindsAllThatAnswer) {
  CRandom random(7);
  std::set<std::string> stations;
  EXPECT_EQ(Walk(stations, 0, random), 1);
  // The root and two calls a level; numbers above 99 and letters beyond ZZZ-ZZZ are not asked for.
  stations = {"12-34-ABC-DE1"};
  EXPECT_LE(Walk(stations, 0, random), 97);
  EXPECT_TRUE(stations.empty());
  for (const std::uint64_t loss : {0U, 20U}) {
    stations = {"00-00-000-000", "99-99-ZZZ-ZZZ", "12-34-ABC-DE1", "12-34-ABC-DE2"};
    for (int walks = 0; walks < (loss == 0 ? 1 : 5); ++walks) Walk(stations, loss, random);
    EXPECT_TRUE(stations.empty()) << loss;
  }
}

}  // namespace
