#include "platform/log/logcapture.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/utility/mutex.h"

namespace {

constexpr int kLevels = static_cast<int>(Log::ELogLevel::Critical) + 1;

/// How many buffers of the whole process want lines from each level up.
std::array<std::atomic<int>, kLevels> wantedLevels{};

thread_local std::shared_ptr<CLogCapture::CBuffer> bufferOfThisThread;

}  // namespace

struct CLogCapture::CBuffer::SState {
  mutable CMutex mutex;
  std::vector<SLine> lines GUARDED_BY(mutex);
};

CLogCapture::CBuffer::CBuffer(Log::ELogLevel lowest) : mLowest(lowest), mState(std::make_unique<SState>()) {
  wantedLevels.at(static_cast<std::size_t>(lowest)) += 1;
  Log::SetLogLevel(Log::GetLogLevel());
}

CLogCapture::CBuffer::~CBuffer() {
  wantedLevels.at(static_cast<std::size_t>(mLowest)) -= 1;
  Log::SetLogLevel(Log::GetLogLevel());
}

void CLogCapture::CBuffer::Add(Log::ELogLevel level, std::string_view textWithPosition) {
  if (level < mLowest) return;
  constexpr std::string_view kPositionEnd = ") ";
  const auto end = textWithPosition.find(kPositionEnd);
  SLine line{level, std::string(textWithPosition.substr(1, end - 1)),
             std::string(textWithPosition.substr(end + kPositionEnd.size()))};
  CMutexLock lock(mState->mutex);
  mState->lines.push_back(std::move(line));
}

std::vector<CLogCapture::SLine> CLogCapture::CBuffer::Lines() const {
  CMutexLock lock(mState->mutex);
  return mState->lines;
}

void CLogCapture::CBuffer::Clear() {
  CMutexLock lock(mState->mutex);
  mState->lines.clear();
}

CLogCapture::CScope::CScope(std::shared_ptr<CBuffer> context)
    : mPrevious(std::exchange(bufferOfThisThread, std::move(context))) {}

CLogCapture::CScope::~CScope() {
  bufferOfThisThread = std::move(mPrevious);
}

CLogCapture::CLogCapture(Log::ELogLevel lowest)
    : mBuffer(std::make_shared<CBuffer>(lowest)), mScope(mBuffer) {}

CLogCapture::~CLogCapture() = default;

std::vector<CLogCapture::SLine> CLogCapture::Lines() const {
  return mBuffer->Lines();
}

std::vector<std::string> CLogCapture::Texts(Log::ELogLevel level) const {
  std::vector<std::string> texts;
  for (auto& line : Lines()) {
    if (line.level == level) texts.push_back(std::move(line.text));
  }
  return texts;
}

int CLogCapture::Count(std::string_view text) const {
  const auto lines = Lines();
  return static_cast<int>(
      std::count_if(lines.begin(), lines.end(), [&](const SLine& line) { return line.text == text; }));
}

void CLogCapture::Clear() {
  mBuffer->Clear();
}

const std::shared_ptr<CLogCapture::CBuffer>& CLogCapture::OfThisThread() {
  return bufferOfThisThread;
}

int CLogCapture::LowestWantedLevel() {
  for (int level = 0; level < kLevels; ++level) {
    if (wantedLevels[static_cast<std::size_t>(level)] > 0) return level;
  }
  return kLevels;
}
