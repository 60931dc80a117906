#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>

#include "platform/worker/scheduler.h"

/// The vehicle at the plug: follows what the station offers after a reaction time, with a ramp, and draws
/// nothing below 6 A. Whole milliamperes and milliseconds only, so that a run repeats exactly on every
/// machine and however its time is cut into steps. One thread.
class CVehicle {
 public:
  /// The least that a vehicle draws; it rather draws nothing at all.
  static constexpr std::uint32_t kLeastMilliAmpere = 6000;
  static constexpr std::uint32_t kMostMilliAmpere = 80000;
  /// No vehicle may take longer to follow a new setpoint.
  static constexpr Milliseconds kLongestReaction{5000};
  /// From asking for current, which the station is told at once, until it flows: the contactor comes between.
  static constexpr Milliseconds kSwitchOn{500};
  static constexpr std::uint32_t kPhases = 3;
  static constexpr std::uint32_t kMostExcessPercent = 100;

  struct SProperties {
    std::uint32_t maxMilliAmpere = 16000;  ///< of each phase; kLeastMilliAmpere to kMostMilliAmpere
    std::uint32_t phases = 3;              ///< that its charger uses; 1 to 3
    Milliseconds reaction{2000};           ///< 0 to kLongestReaction
    std::uint32_t rampMilliAmperePerSecond = 4000;
    std::optional<std::uint32_t> rampDownMilliAmperePerSecond{};  ///< none: as steep as upwards

    // Flaws.
    std::uint32_t excessPercent = 0;  ///< draws so much more than it means to; 0 to kMostExcessPercent
    bool ignoresPhaseCount = false;   ///< uses all its phases, on however many it may charge
    bool inWholeAmperes = false;      ///< rounds offers down to whole amperes and moves in such steps
  };

  enum class EState { Absent, Connected, Charging, Full };
  using Currents = std::array<std::uint32_t, kPhases>;

  const SProperties& Properties() const { return mProperties; }
  /// Holds from now on; offers that wait for the reaction time keep theirs.
  void SetProperties(const SProperties& properties);

  /// A vehicle that was just plugged in reacts to the present offer.
  void Connect();
  /// Cuts the current at once. Whatever is connected next is not full.
  void Disconnect();
  /// A full vehicle stays connected and draws nothing.
  void SetFull(bool full);
  /// Without a supply, as behind a fuse that has tripped, it draws nothing.
  void SetSupplied(bool supplied);
  /// The station opens its relay under a vehicle that is plugged in: no current, whatever is offered, until
  /// it is unplugged.
  void Stop();
  bool IsStopped() const { return mStopped; }

  /// What the station allows from this moment on, in mA of each phase, on 1 or 3 phases.
  void Offer(std::uint32_t milliAmpere, std::uint32_t phases);
  /// Lets time pass.
  void Advance(Milliseconds span);

  EState State() const;
  /// By time alone nothing will change.
  bool IsSteady() const { return mPending.empty() && mLevel == Target(); }
  /// mA on L1 to L3; nothing for the first moment of charging.
  Currents Draw() const;

 private:
  struct SOffer {
    std::uint32_t milliAmpere = 0;
    std::uint32_t phases = kPhases;
  };
  struct SPending {
    Milliseconds due;
    SOffer offer;
  };

  void React();
  void AskForCurrent();
  void DropCurrent();
  void Ramp(Milliseconds span);
  void Approach(std::uint32_t target, Milliseconds span);
  std::uint32_t Target() const;
  std::uint32_t Step(std::uint32_t milliAmpere) const;

  SProperties mProperties;
  bool mConnected = true;
  bool mFull = false;
  bool mSupplied = true;
  bool mStopped = false;
  SOffer mOffer;     // as the station shows it
  SOffer mFollowed;  // as the vehicle has noticed it
  std::deque<SPending> mPending;
  Milliseconds mNow{0};
  std::optional<Milliseconds> mFlowsFrom;  // while it asks for current, or has just got it
  std::uint32_t mLevel = 0;                // mA, the same on every phase that is used
  std::uint64_t mRampRemainder = 0;        // thousandths of a mA
};
