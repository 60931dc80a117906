#include "src/rpc/services/groupanswer.h"

#include <gtest/gtest.h>

namespace {

TEST(GroupAnswer, TellsALeaderWholeAndAFollowerWithoutWhatItCannotKnow) {
  SLbGroupView view{.isLeader = true,
                    .isSettling = true,
                    .milliAmpere = {1, 2, 3},
                    .mostMilliAmpere = {4, 5, 6},
                    .unheard = 7};
  view.stations.push_back({.serialNumber = {12, 34, 0xc9, 0x21, 0x2d, 0x25},
                           .address = "fe80::2",
                           .state = ELbStationState::Joining,
                           .isOwn = true,
                           .phases = 0x05,
                           .isPhaseDiscovery = true,
                           .limitMilliAmpere = 8,
                           .drawnMilliAmpere = {9, 10, 11},
                           .fallbackMilliAmpere = 12,
                           .heardAgo = Milliseconds{13}});
  for (const auto state : {ELbStationState::Leading, ELbStationState::Joining, ELbStationState::Led,
                           ELbStationState::Silent, ELbStationState::Refused})
    view.stations.push_back({.state = state});
  const ipc::MGroup leader = ToAnswer(view);
  EXPECT_EQ(leader.role(), 1);
  EXPECT_TRUE(leader.settling());
  EXPECT_EQ(leader.unheard(), 7U);
  const auto digits = [](const ipc::MPhaseCurrents& currents) {
    return currents.r() * 10000 + currents.s() * 100 + currents.t();
  };
  EXPECT_EQ(digits(leader.capacity()), 10203U);
  EXPECT_EQ(digits(leader.exposure()), 40506U);
  const ipc::MGroupStation& station = leader.stations(0);
  EXPECT_EQ(station.serial_number(), "12-34-ABC-DE1");
  EXPECT_EQ(station.address(), "fe80::2");
  EXPECT_TRUE(station.is_own());
  EXPECT_TRUE(station.phase_discovery());
  EXPECT_EQ(station.phases(), 5U);
  EXPECT_EQ(station.limit(), 8U);
  EXPECT_EQ(digits(station.drawn()), 91011U);
  EXPECT_EQ(station.fallback(), 12U);
  EXPECT_EQ(station.heard_ago_ms(), 13);
  EXPECT_FALSE(leader.stations(1).has_heard_ago_ms());
  for (int i = 1; i < leader.stations_size(); ++i) EXPECT_EQ(leader.stations(i).state(), i);

  view.isLeader = false;
  const ipc::MGroup follower = ToAnswer(view);
  EXPECT_EQ(follower.role(), 2);
  EXPECT_FALSE(follower.has_capacity());
  EXPECT_EQ(follower.unheard(), 0U);
  EXPECT_EQ(follower.stations_size(), 6);
}

}  // namespace
