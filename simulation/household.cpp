#include "simulation/household.h"

#include <algorithm>

#include "simulation/day.h"

namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

/// Written in braces, since these draw random numbers in the same order with every compiler.
struct SRun {
  std::size_t phase;
  std::int64_t milliAmpere;
  Milliseconds begin;
  Milliseconds span;
};

SAppliance Appliance(const SRun& run) {
  return {run.phase, run.milliAmpere, run.begin, std::min(kDay, run.begin + run.span)};
}

}  // namespace

CHousehold::CHousehold(std::uint64_t seed) : mRandom(seed), mLoads(Base()) {
  AddFridge();
  if (mRandom.Chance(2, 3)) AddHeatPump();
  for (std::int64_t count = mRandom.Between(3, 8); count > 0; --count) AddKettle();
  if (mRandom.Chance(1, 2)) AddWashing();
  AddDinner();
  AddEvening();
}

CLoadPlan::Change CHousehold::Base() {
  CLoadPlan::Change base{};
  std::ranges::generate(base, [this] { return mRandom.Between(150, 600); });
  return base;
}

void CHousehold::AddFridge() {
  const std::size_t phase = AnyPhase();
  for (Milliseconds at = mRandom.Between(minutes(0), minutes(40)); at < kDay;) {
    const Milliseconds on = mRandom.Between(minutes(8), minutes(18));
    mLoads.AddStep(Appliance({phase, 700, at, on}));
    at += on + mRandom.Between(minutes(20), minutes(45));
  }
}

void CHousehold::AddHeatPump() {
  const std::int64_t milliAmpere = mRandom.Between(2500, 5000);
  for (Milliseconds at = mRandom.Between(minutes(0), minutes(90)); at < kDay;) {
    const Milliseconds on = mRandom.Between(minutes(15), minutes(50));
    mLoads.AddRamp(Appliance({CVehicle::kPhases, milliAmpere, at, on}), mRandom.Between(10, 40));
    at += on + mRandom.Between(minutes(30), minutes(120));
  }
}

void CHousehold::AddKettle() {
  const Milliseconds begin = mRandom.Between(minutes(390), hours(22));
  mLoads.AddStep(Appliance({mKitchen, 9600, begin, mRandom.Between(seconds(90), minutes(4))}));
}

/// Heats, then turns to and fro.
void CHousehold::AddWashing() {
  const std::size_t phase = AnyPhase();
  const Milliseconds begin = mRandom.Between(hours(8), hours(19));
  const Milliseconds heating = mRandom.Between(minutes(12), minutes(25));
  mLoads.AddStep(Appliance({phase, 9000, begin, heating}));
  const auto turning = Appliance({phase, 1800, begin + heating, mRandom.Between(minutes(30), minutes(70))});
  mLoads.AddBursts(turning, seconds(25), seconds(12));
}

void CHousehold::AddDinner() {
  const Milliseconds begin = mRandom.Between(minutes(1000), minutes(1170));
  const std::size_t ovenPhase = AnyPhase();
  const std::int64_t oven = mRandom.Between(10000, 15000);
  const Milliseconds preheating = mRandom.Between(minutes(6), minutes(12));
  mLoads.AddStep(Appliance({ovenPhase, oven, begin, preheating}));
  Burst(Appliance({ovenPhase, oven, begin + preheating, mRandom.Between(minutes(20), minutes(60))}),
        seconds(30), seconds(120));
  for (const std::size_t phase : {mKitchen, AnyPhase()}) {
    Burst(Appliance({phase, mRandom.Between(5000, 9000), begin + mRandom.Between(minutes(0), minutes(15)),
                     mRandom.Between(minutes(15), minutes(35))}),
          seconds(4), seconds(20));
  }
}

void CHousehold::Burst(const SAppliance& appliance, Milliseconds shortest, Milliseconds longest) {
  const Milliseconds on = mRandom.Between(shortest, longest);
  const Milliseconds off = mRandom.Between(shortest, longest);
  mLoads.AddBursts(appliance, on, off);
}

void CHousehold::AddEvening() {
  const Milliseconds begin = mRandom.Between(hours(17), hours(19));
  mLoads.AddStep(
      Appliance({AnyPhase(), mRandom.Between(1000, 3000), begin, mRandom.Between(hours(3), hours(6))}));
}
