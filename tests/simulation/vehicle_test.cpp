#include "simulation/vehicle.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using Currents = CVehicle::Currents;

constexpr Milliseconds kReaction{2000};
constexpr Milliseconds kStart = kReaction + 500ms;  // the contactor comes between

/// Reacts after 2 s and ramps with 4 A per second.
CVehicle Vehicle(std::uint32_t maxMilliAmpere = 16000, std::uint32_t phases = 3) {
  CVehicle vehicle;
  vehicle.SetProperties({maxMilliAmpere, phases, kReaction, 4000});
  return vehicle;
}

CVehicle Drawing(std::uint32_t milliAmpere, std::uint32_t phases = 3) {
  CVehicle vehicle = Vehicle();
  vehicle.Offer(milliAmpere, phases);
  vehicle.Advance(1min);
  return vehicle;
}

TEST(Vehicle, ReactsLateAndThenRampsFromSixAmpereUp) {
  CVehicle vehicle = Vehicle();
  vehicle.Offer(16000, 3);
  vehicle.Advance(kReaction - 1ms);
  EXPECT_EQ(vehicle.State(), CVehicle::EState::Connected);
  vehicle.Advance(1ms);
  EXPECT_EQ(vehicle.State(), CVehicle::EState::Charging) << "told before it flows";
  vehicle.Advance(kStart - kReaction);
  EXPECT_EQ(vehicle.Draw(), (Currents{0, 0, 0}));
  vehicle.Advance(1s);
  EXPECT_EQ(vehicle.Draw(), (Currents{10000, 10000, 10000}));
  EXPECT_EQ(vehicle.State(), CVehicle::EState::Charging);
  vehicle.Advance(1499ms);
  EXPECT_EQ(vehicle.Draw()[0], 15996U);
  vehicle.Advance(1ms);
  EXPECT_EQ(vehicle.Draw()[0], 16000U);
}

TEST(Vehicle, DrawsNothingBelowSixAmpere) {
  CVehicle vehicle = Drawing(5999);
  EXPECT_EQ(vehicle.Draw()[0], 0U);
  vehicle.Offer(6000, 3);
  vehicle.Advance(kStart + 1ms);
  EXPECT_EQ(vehicle.Draw()[0], 6000U);

  vehicle = Drawing(10000);
  vehicle.Offer(5999, 3);
  vehicle.Advance(kReaction + 999ms);
  EXPECT_EQ(vehicle.Draw()[0], 6004U);
  vehicle.Advance(1ms);
  EXPECT_EQ(vehicle.Draw()[0], 0U);
}

TEST(Vehicle, KeepsToItsOwnMaximumAndPhases) {
  struct SCase {
    std::uint32_t ownPhases, offered, offeredPhases;
    Currents draw;
  };
  for (const SCase& test : std::vector<SCase>{{3, 999000, 3, {13000, 13000, 13000}},
                                              {3, 999000, 1, {13000, 0, 0}},
                                              {2, 12000, 3, {12000, 12000, 0}},
                                              {1, 12000, 3, {12000, 0, 0}},
                                              {1, 4294967295, 1, {13000, 0, 0}}}) {
    CVehicle vehicle = Vehicle(13000, test.ownPhases);
    vehicle.Offer(test.offered, test.offeredPhases);
    vehicle.Advance(1min);
    EXPECT_EQ(vehicle.Draw(), test.draw)
        << test.ownPhases << " own phases, " << test.offeredPhases << " offered";
  }
}

TEST(Vehicle, FollowsEveryOfferInItsTime) {
  CVehicle vehicle = Drawing(16000);
  vehicle.Offer(6000, 1);
  vehicle.Advance(1s);
  vehicle.Offer(16000, 3);
  vehicle.Advance(1500ms);  // half a second after it has noticed the first, half a second before the second
  EXPECT_EQ(vehicle.Draw(), (Currents{14000, 0, 0}));
  vehicle.Advance(1s);  // ramped down for another half second, then up
  EXPECT_EQ(vehicle.Draw(), (Currents{14000, 14000, 14000}));
}

TEST(Vehicle, DropsTheCurrentAtOnceWhenUnpluggedAndStartsAnewWhenPlugged) {
  CVehicle vehicle = Drawing(16000);
  vehicle.Disconnect();
  EXPECT_EQ(vehicle.Draw(), (Currents{0, 0, 0}));
  EXPECT_EQ(vehicle.State(), CVehicle::EState::Absent);
  vehicle.Offer(8000, 1);
  vehicle.Advance(1min);
  vehicle.Connect();
  vehicle.Advance(kStart);
  EXPECT_EQ(vehicle.Draw()[0], 0U);
  vehicle.Advance(1s);
  EXPECT_EQ(vehicle.Draw(), (Currents{8000, 0, 0}));

  vehicle.SetFull(true);
  vehicle.Advance(1s);
  EXPECT_EQ(vehicle.Draw()[0], 0U);
  EXPECT_EQ(vehicle.State(), CVehicle::EState::Full);
}

TEST(Vehicle, DoesTheSameHoweverTimeIsCut) {
  const auto run = [](Milliseconds step) {
    CVehicle vehicle;
    vehicle.SetProperties({32000, 3, 1234ms, 3333});
    for (const std::uint32_t offer : {32000U, 7000U, 20000U, 0U, 11111U}) {
      vehicle.Offer(offer, 3);
      for (Milliseconds left = 4200ms; left > 0ms; left -= step) vehicle.Advance(std::min(step, left));
    }
    return vehicle.Draw();
  };
  const Currents draw{11111, 11111, 11111};
  EXPECT_EQ(run(4200ms), run(1ms));
  EXPECT_EQ(run(4200ms), run(37ms));
  EXPECT_EQ(run(4200ms), draw);
}

}  // namespace
