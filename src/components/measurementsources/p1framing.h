#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

/// Finds telegrams in what a line brings, in pieces of any size: each from a "/" to the four characters
/// behind the first "!" after it. A "/" always begins a new telegram, as it stands in none; the one before is
/// dropped if it had no "!", and handed over as it is if it had one, for then it lacks its checksum only.
/// What is between telegrams is skipped. One thread at a time.
class CP1Framing {
 public:
  /// Bytes. One that does not end within them is dropped.
  static constexpr std::size_t kLongestTelegram = 8192;

  /// Must not call back in; the telegram is gone when it returns.
  using TelegramHandler = std::function<void(std::span<const std::uint8_t> telegram)>;
  /// A telegram was dropped because it does not end.
  using EndlessHandler = std::function<void()>;

  CP1Framing(TelegramHandler handleTelegram, EndlessHandler handleEndless);

  void Feed(std::span<const std::uint8_t> data);
  /// Forgets what there is of a telegram.
  void Clear();

 private:
  enum class EState { Between, Body, Checksum };

  std::size_t TakeStretch(std::span<const std::uint8_t> data);
  void Begin();
  void End();
  bool Keep(std::span<const std::uint8_t> data);

  const TelegramHandler mHandleTelegram;
  const EndlessHandler mHandleEndless;
  std::vector<std::uint8_t> mTelegram;
  EState mState = EState::Between;
  std::size_t mMissing = 0;  // characters of the checksum
};
