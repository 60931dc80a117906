#include "src/components/measurementsources/p1framing.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::uint8_t kStart = '/';
constexpr std::uint8_t kEnd = '!';
constexpr std::size_t kChecksumLength = 4;

}  // namespace

CP1Framing::CP1Framing(TelegramHandler handleTelegram, EndlessHandler handleEndless)
    : mHandleTelegram(std::move(handleTelegram)), mHandleEndless(std::move(handleEndless)) {
  mTelegram.reserve(kLongestTelegram);
}

void CP1Framing::Feed(std::span<const std::uint8_t> data) {
  while (!data.empty()) data = data.subspan(TakeStretch(data));
}

void CP1Framing::Clear() {
  mTelegram.clear();
  mState = EState::Between;
}

/// Takes what belongs together and says how much that was.
std::size_t CP1Framing::TakeStretch(std::span<const std::uint8_t> data) {
  if (data.front() == kStart) {
    Begin();
    return 1;
  }
  auto end = std::ranges::find(data, kStart);
  if (mState == EState::Body) {
    const auto mark = std::find(data.begin(), end, kEnd);
    if (mark != end) end = mark + 1;
  } else if (mState == EState::Checksum) {
    end = std::min(end, data.begin() + std::min(std::ssize(data), static_cast<std::ptrdiff_t>(mMissing)));
  }
  const auto stretch = data.first(static_cast<std::size_t>(end - data.begin()));
  if (mState != EState::Between && Keep(stretch)) {
    if (mState == EState::Checksum) {
      mMissing -= stretch.size();
      if (mMissing == 0) End();
    } else if (stretch.back() == kEnd) {
      mState = EState::Checksum;
      mMissing = kChecksumLength;
    }
  }
  return stretch.size();
}

void CP1Framing::Begin() {
  if (mState == EState::Checksum) End();
  mTelegram.assign(1, kStart);
  mState = EState::Body;
}

void CP1Framing::End() {
  mState = EState::Between;
  mHandleTelegram(mTelegram);
}

/// False when there is no room for it.
bool CP1Framing::Keep(std::span<const std::uint8_t> data) {
  if (data.size() <= kLongestTelegram - mTelegram.size()) {
    mTelegram.insert(mTelegram.end(), data.begin(), data.end());
    return true;
  }
  Clear();
  mHandleEndless();
  return false;
}
