#include "simulation/p1pty.h"

#include <utility>

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "platform/log/log.h"
#include "simulation/p1telegramtext.h"

namespace {

/// Bytes that nobody has read: more than that and nobody will.
constexpr int kMostUnread = 2048;

}  // namespace

CP1Pty::CP1Pty(IScheduler& scheduler, CHouseMeter& meter, const std::filesystem::path& root,
               Milliseconds interval)
    : mMeter(meter), mLink(root / kDevice), mInterval(interval), mWorker(scheduler, "CP1Pty") {}

CP1Pty::~CP1Pty() {
  Stop();
}

bool CP1Pty::Start() {
  mWorker.Start();
  bool isThere = false;
  mWorker.BlockingCall([this, &isThere] {
    isThere = Turn();
    mTurns = mWorker.AddCall([this] { Turn(); }, mInterval, mInterval);
  });
  return isThere;
}

void CP1Pty::Stop() {
  mWorker.Stop();
  mTurns.Cancel();
  mPty.Close();
}

bool CP1Pty::Turn() {
  if (mMeter.Fate() == CHouseMeter::EFate::Away) {
    mPty.Close();
    return true;
  }
  if (!mPty.IsOpen() && !Open()) return false;
  Send(P1TelegramOf(mMeter));
  return true;
}

bool CP1Pty::Open() {
  std::string failure = mPty.Open(mLink);
  if (!failure.empty() && failure != mFailure)
    LOG_ERROR("There is no meter at \"{}\": {}", mLink.string(), failure);
  mFailure = std::move(failure);
  return mFailure.empty();
}

void CP1Pty::Send(std::string_view telegram) const {
  int unread = 0;
  if (::ioctl(mPty.NearEnd(), FIONREAD, &unread) == 0 && unread > kMostUnread) {
    ::tcflush(mPty.NearEnd(), TCIFLUSH);  // as a line forgets what nobody listened to
  }
  while (!telegram.empty()) {
    const ssize_t written = ::write(mPty.FarEnd(), telegram.data(), telegram.size());
    if (written <= 0) return;  // nobody reads: the rest is lost
    telegram.remove_prefix(static_cast<std::size_t>(written));
  }
}
