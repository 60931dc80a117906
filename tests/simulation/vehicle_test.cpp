#include "simulation/vehicle.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using Currents = CVehicle::Currents;
using EState = CVehicle::EState;

/// Reacts after 2 s, closes its contactor for half a second and ramps with 4 A per second.
CVehicle Vehicle(const CVehicle::SProperties& properties = {}) {
  CVehicle vehicle;
  vehicle.SetProperties(properties);
  return vehicle;
}

/// Offers what a step says, unless it is nothing, lets the time pass and looks.
struct SStep {
  std::optional<std::uint32_t> offer;
  std::uint32_t phases;
  Milliseconds time;
  Currents draw;
};
void ExpectSteps(CVehicle& vehicle, const std::vector<SStep>& steps) {
  for (std::size_t index = 0; index < steps.size(); ++index) {
    const SStep& step = steps[index];
    if (step.offer) vehicle.Offer(*step.offer, step.phases);
    vehicle.Advance(step.time);
    EXPECT_EQ(vehicle.Draw(), step.draw) << "step " << index;
  }
}

TEST(Vehicle, ReactsLateRampsFromSixAmpereUpAndFollowsEveryOfferInItsTime) {
  CVehicle vehicle = Vehicle();
  ExpectSteps(vehicle, {{16000, 3, 1999ms, {}}});
  EXPECT_EQ(vehicle.State(), EState::Connected);
  ExpectSteps(vehicle, {{{}, 0, 1ms, {}}});
  EXPECT_EQ(vehicle.State(), EState::Charging) << "told before it flows";
  ExpectSteps(vehicle, {{{}, 0, 500ms, {}},
                        {{}, 0, 1s, {10000, 10000, 10000}},
                        {{}, 0, 1499ms, {15996, 15996, 15996}},
                        {{}, 0, 1ms, {16000, 16000, 16000}},
                        {6000, 1, 1s, {16000, 16000, 16000}},
                        // half a second after it has noticed the first, half a second before the second
                        {16000, 3, 1500ms, {14000, 0, 0}},
                        {{}, 0, 1s, {14000, 14000, 14000}},
                        // nothing is drawn below 6 A
                        {5999, 3, 4499ms, {6004, 6004, 6004}},
                        {{}, 0, 1ms, {}},
                        {5999, 3, 1min, {}},
                        {6000, 3, 2501ms, {6000, 6000, 6000}}});
}

TEST(Vehicle, DropsTheCurrentAtOnceWhenUnpluggedOrStoppedAndStartsAnewWhenPlugged) {
  CVehicle vehicle = Vehicle();
  for (const bool isStopped : {false, true}) {
    ExpectSteps(vehicle, {{16000, 3, 1min, {16000, 16000, 16000}}});
    isStopped ? vehicle.Stop() : vehicle.Disconnect();
    EXPECT_EQ(vehicle.State(), isStopped ? EState::Connected : EState::Absent);
    ExpectSteps(vehicle, {{{}, 0, 0ms, {}}, {8000, 1, 1min, {}}});
    if (isStopped) vehicle.Disconnect();
    vehicle.Stop();  // opens nothing without a vehicle
    vehicle.Connect();
    ExpectSteps(vehicle, {{{}, 0, 2500ms, {}}, {{}, 0, 1s, {8000, 0, 0}}});
  }
  vehicle.SetFull(true);
  ExpectSteps(vehicle, {{{}, 0, 1s, {}}});
  EXPECT_EQ(vehicle.State(), EState::Full);
}

TEST(Vehicle, KeepsToItsOwnMaximumAndPhasesAndHasItsFlaws) {
  const std::pair<CVehicle::SProperties, std::vector<SStep>> kVehicles[] = {
      {{.maxMilliAmpere = 13000}, {{999000, 3, 1min, {13000, 13000, 13000}}}},
      {{.phases = 2}, {{12000, 3, 1min, {12000, 12000, 0}}, {4294967295, 1, 1min, {16000, 0, 0}}}},
      {{.excessPercent = 15}, {{10000, 3, 1min, {11500, 11500, 11500}}, {5999, 3, 1min, {}}}},
      {{.phases = 2, .ignoresPhaseCount = true}, {{10000, 1, 1min, {10000, 10000, 0}}}},
      {{.inWholeAmperes = true},
       {{7000, 3, 2749ms, {6000, 6000, 6000}},
        {{}, 0, 1ms, {7000, 7000, 7000}},
        {6999, 3, 1min, {6000, 6000, 6000}}}},
      {{.maxMilliAmpere = 32000, .reaction = 5000ms, .rampDownMilliAmperePerSecond = 1000},
       {{32000, 3, 1min, {32000, 32000, 32000}},
        {6000, 3, 5s, {32000, 32000, 32000}},
        {{}, 0, 25s, {7000, 7000, 7000}},
        {32000, 3, 9s, {22000, 22000, 22000}}}}};
  for (const auto& [properties, steps] : kVehicles) {
    CVehicle vehicle = Vehicle(properties);
    ExpectSteps(vehicle, steps);
  }
}

TEST(Vehicle, DoesTheSameHoweverTimeIsCut) {
  for (const Milliseconds step : {4200ms, 37ms, 1ms}) {
    CVehicle vehicle = Vehicle({32000, 3, 1234ms, 3333});
    for (const std::uint32_t offer : {32000U, 7000U, 20000U, 0U, 11111U}) {
      vehicle.Offer(offer, 3);
      for (Milliseconds left = 4200ms; left > 0ms; left -= step) vehicle.Advance(std::min(step, left));
    }
    EXPECT_EQ(vehicle.Draw(), (Currents{11111, 11111, 11111})) << step.count();
  }
}

}  // namespace
