#include "simulation/overloadreaction.h"

#include <utility>

#include "ipc/genericcontrol.service.h"

namespace {

constexpr std::uint32_t kPhase = 1;
/// From here on the samples keep their beat, which begins with the station.
constexpr Milliseconds kStarted = 8 * kSamplingPeriod;
/// Long enough for the vehicle to be through the careful beginning of its charging.
constexpr Milliseconds kSteady = 48 * kSamplingPeriod;

/// The fuse is the house's usual one.
constexpr auto kHwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3})";
constexpr auto kSettings = R"({"CurrentCtrlFixedChargeCurrentLimit": 16, "CurrentCtrlBopEnable": true,
                               "CurrentCtrlBopFuseRating": 25, "CurrentCtrlBopCtType": "C-CT-16"})";

}  // namespace

COverloadReaction::COverloadReaction(const STiming& timing, Observer observer)
    : mTiming(timing),
      mObserver(std::move(observer)),
      mStation({.hwinfo = kHwinfo, .settings = kSettings, .secrets = ""}) {
  mStation.Peers().BasicCharge().OnArrival(
      [this](const CSimulatedBasicCharge::SArrival& arrival) { OnSetpoint(arrival.milliAmpere); });
}

std::optional<Milliseconds> COverloadReaction::Play() {
  ChargeSteadily();
  Show(kBefore);
  mStepped = mStation.Elapsed();
  SetLoad(kOverloadMilliAmpere);
  Show(kOverload);
  const auto reaction = mReaction;
  SetLoad(kUsualMilliAmpere);
  Show(kAfter);
  return reaction;
}

void COverloadReaction::ChargeSteadily() {
  SetLoad(kUsualMilliAmpere);
  mStation.Start();
  mStation.RunFor(kStarted);
  ipc::CGenericControlClient control(mStation.Clients().CreateClient("CurrentControlGenCtrl"));
  control.Disable({});
  mStation.RunFor(mTiming.look);
  control.Enable({});  // the looks begin with this, the samples stay where they are
  mStation.RunFor(kSteady + mTiming.step - mTiming.look);
}

void COverloadReaction::SetLoad(std::uint32_t milliAmpere) {
  mStation.House().SetLoad(kPhase, milliAmpere);
}

void COverloadReaction::OnSetpoint(std::uint32_t milliAmpere) {
  if (mStepped && !mReaction && milliAmpere < mSetpoint) mReaction = mStation.Elapsed() - *mStepped;
  mSetpoint = milliAmpere;
}

void COverloadReaction::Show(Milliseconds span) {
  if (!mObserver) return mStation.RunFor(span);
  const Milliseconds end = mStation.Elapsed() + span;
  while (mStation.Elapsed() < end) {
    mStation.RunFor(kShownEvery);
    const auto house = mStation.House().View();
    const Milliseconds from = mStepped ? *mStepped : end;
    mObserver({mStation.Elapsed() - from, house.total[kPhase - 1], house.vehicle[kPhase - 1], mSetpoint});
  }
}
