#include "simulation/p1pty.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <termios.h>

#include "platform/log/log.h"
#include "simulation/p1telegramtext.h"

namespace {

namespace fs = std::filesystem;

/// Bytes that nobody has read: more than that and nobody will.
constexpr int kMostUnread = 2048;

std::string ReasonText() {
  return std::generic_category().message(errno);
}

bool MakeRaw(int descriptor) {
  termios settings{};
  if (::tcgetattr(descriptor, &settings) != 0) return false;
  ::cfmakeraw(&settings);
  return ::tcsetattr(descriptor, TCSANOW, &settings) == 0;
}

}  // namespace

CP1Pty::CP1Pty(IScheduler& scheduler, CHouseMeter& meter, const fs::path& root, Milliseconds interval)
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
  Close();
}

bool CP1Pty::Turn() {
  if (mMeter.Fate() == CHouseMeter::EFate::Away) {
    Close();
    return true;
  }
  if (!mMeterEnd.IsOpen() && !Open()) return false;
  Send(P1TelegramOf(mMeter));
  return true;
}

bool CP1Pty::Open() {
  std::string failure = TryOpen();
  if (failure.empty()) failure = TryLink();
  if (!failure.empty() && failure != mFailure)
    LOG_ERROR("There is no meter at \"{}\": {}", mLink.string(), failure);
  mFailure = std::move(failure);
  if (mFailure.empty()) return true;
  Close();
  return false;
}

/// What failed; empty: nothing.
std::string CP1Pty::TryOpen() {
  mMeterEnd = CFileDescriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!mMeterEnd.IsOpen()) return fmt::format("no pseudo-terminal: {}", ReasonText());
  std::array<char, 64> name{};
  if (::fcntl(mMeterEnd.Get(), F_SETFL, O_NONBLOCK) != 0 || ::grantpt(mMeterEnd.Get()) != 0 ||
      ::unlockpt(mMeterEnd.Get()) != 0 || ::ptsname_r(mMeterEnd.Get(), name.data(), name.size()) != 0) {
    return fmt::format("its pseudo-terminal cannot be used: {}", ReasonText());
  }
  mStationEnd = CFileDescriptor(::open(name.data(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!mStationEnd.IsOpen() || !MakeRaw(mStationEnd.Get())) {
    return fmt::format("\"{}\" cannot be used: {}", name.data(), ReasonText());
  }
  mStationEndName = name.data();
  return "";
}

std::string CP1Pty::TryLink() {
  std::error_code error;
  fs::create_directories(mLink.parent_path(), error);
  if (!error) fs::create_symlink(mStationEndName, mLink, error);
  if (!error) return "";
  mStationEndName.clear();
  return error == std::errc::file_exists ? "there is something else already" : error.message();
}

void CP1Pty::Close() {
  if (const std::string name = std::exchange(mStationEndName, {}); !name.empty()) {
    std::error_code error;
    if (fs::read_symlink(mLink, error) == name) fs::remove(mLink, error);
  }
  mStationEnd.Close();
  mMeterEnd.Close();
}

void CP1Pty::Send(std::string_view telegram) const {
  int unread = 0;
  if (::ioctl(mStationEnd.Get(), FIONREAD, &unread) == 0 && unread > kMostUnread) {
    ::tcflush(mStationEnd.Get(), TCIFLUSH);  // as a line forgets what nobody listened to
  }
  while (!telegram.empty()) {
    const ssize_t written = ::write(mMeterEnd.Get(), telegram.data(), telegram.size());
    if (written <= 0) return;  // nobody reads: the rest is lost
    telegram.remove_prefix(static_cast<std::size_t>(written));
  }
}
