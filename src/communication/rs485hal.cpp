#include "src/communication/rs485hal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>

#include "platform/log/log.h"
#include "platform/utility/rs485mode.h"

namespace {

constexpr auto kClassName = "CRs485Hal";

struct SSpeed {
  std::uint32_t baud;
  speed_t code;
};
constexpr std::array<SSpeed, 8> kSpeeds{{{1200, B1200},
                                         {2400, B2400},
                                         {4800, B4800},
                                         {9600, B9600},
                                         {19200, B19200},
                                         {38400, B38400},
                                         {57600, B57600},
                                         {115200, B115200}}};

std::string ReasonText() {
  return std::generic_category().message(errno);
}

/// RTS tells the direction, so it cannot tell that the line is ready; and nobody drives a carrier.
void MakeRaw(termios& settings) {
  ::cfmakeraw(&settings);
  settings.c_cflag |= CLOCAL | CREAD;
  settings.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS | CSTOPB);
}

}  // namespace

CRs485Hal::CRs485Hal(const SRs485Line& line)
    : CRs485Hal(line.path, line.baud, line.autoDirection ? ModeSwitch() : SwitchToRs485) {}

CRs485Hal::CRs485Hal(std::string path, std::uint32_t baud, ModeSwitch modeSwitch)
    : mPath(std::move(path)), mBaud(baud), mModeSwitch(std::move(modeSwitch)) {
  LOG_ENTRY(kClassName);
}

CRs485Hal::~CRs485Hal() {
  LOG_ENTRY(kClassName);
  CRs485Hal::Close();
}

bool CRs485Hal::Open() {
  LOG_ENTRY(kClassName);
  Close();
  std::string failure = TrySetUp();
  if (!failure.empty() && failure != mFailure) LOG_ERROR("{}", failure);
  mFailure = std::move(failure);
  if (mFailure.empty()) return true;
  Close();
  return false;
}

/// What failed; empty: nothing.
std::string CRs485Hal::TrySetUp() {
  mDevice = CFileDescriptor(::open(mPath.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!mDevice.IsOpen()) {
    LOG_DEBUG("{}: {}", mPath, ReasonText());
    return fmt::format("ERROR! Failed to open \"{}\"", mPath);
  }
  if (mModeSwitch && !mModeSwitch(mDevice.Get())) return "Failed to set RS485 props.";
  return TryApplySettings();
}

std::string CRs485Hal::TryApplySettings() {
  termios settings{};
  if (::tcgetattr(mDevice.Get(), &settings) != 0) {
    return fmt::format("Failed to read the terminal settings of \"{}\": {}", mPath, ReasonText());
  }
  mFound = settings;
  const auto* speed = std::ranges::find(kSpeeds, mBaud, &SSpeed::baud);
  if (speed == kSpeeds.end()) return fmt::format("\"{}\" cannot run at {} baud", mPath, mBaud);
  ::cfsetispeed(&settings, speed->code);
  ::cfsetospeed(&settings, speed->code);
  MakeRaw(settings);
  if (::tcsetattr(mDevice.Get(), TCSANOW, &settings) == 0) return "";
  return fmt::format("Failed to apply the terminal settings of \"{}\": {}", mPath, ReasonText());
}

void CRs485Hal::Close() {
  if (!mDevice.IsOpen()) return;
  LOG_ENTRY(kClassName);
  if (mFound) {
    mFound->c_cflag &= ~static_cast<tcflag_t>(HUPCL);
    ::tcsetattr(mDevice.Get(), TCSANOW, &*mFound);  // a device that is gone has nothing to restore
    mFound.reset();
  }
  mDevice.Close();
}
