#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>

/// What every service's state machine does alike: naming its states and events, and telling what happens to
/// them.
namespace StateMachinesUtility {

/// The name of an enumerator from a table in the enumeration's order; "Unknown" beyond its end.
template <class TEnum, std::size_t Count>
constexpr std::string_view NameIn(const std::array<std::string_view, Count>& names, TEnum value) {
  const auto index = static_cast<std::size_t>(value);
  return index < Count ? names[index] : std::string_view("Unknown");
}

/// One info line, "Process state changed from Disabling to Commissioning".
void LogStateChange(std::string_view machine, std::string_view from, std::string_view to);

/// One warning, "Enable request does not fit state Recovering".
void LogRefusedRequest(std::string_view request, std::string_view state);

/// The state that a machine shows. Its own thread enters states, any thread reads without waiting. States
/// have a `ToText`.
template <class TState>
class CShownState {
 public:
  /// `machine` is what log lines call it; the text must outlive this object.
  CShownState(std::string_view machine, TState first) : mMachine(machine), mState(first) {}

  /// Logs the change if it is one.
  void Enter(TState next) {
    const TState previous = mState.exchange(next, std::memory_order_acq_rel);
    if (previous != next) LogStateChange(mMachine, ToText(previous), ToText(next));
  }
  TState Current() const { return mState.load(std::memory_order_acquire); }

 private:
  const std::string_view mMachine;
  std::atomic<TState> mState;
  static_assert(std::atomic<TState>::is_always_lock_free);
};

}  // namespace StateMachinesUtility
