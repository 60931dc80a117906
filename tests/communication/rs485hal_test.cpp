#include "src/communication/rs485hal.h"

#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>

#include "platform/log/logcapture.h"

namespace {

/// A terminal that is nobody's line yet; its name is in a buffer of the library's.
class Rs485HalTest : public ::testing::Test {
 protected:
  termios Settings() const {
    termios settings{};
    EXPECT_EQ(::tcgetattr(mDevice.Get(), &settings), 0);
    return settings;
  }

  const CFileDescriptor mPeer{::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
  const int mUnlocked = ::grantpt(mPeer.Get()) | ::unlockpt(mPeer.Get());
  const std::string mPath = ::ptsname(mPeer.Get());
  const CFileDescriptor mDevice{::open(mPath.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)};
};

TEST_F(Rs485HalTest, MakesTheDeviceRawAndLeavesItAsItWas) {
  termios found = Settings();
  found.c_cflag |= HUPCL;
  ASSERT_EQ(::tcsetattr(mDevice.Get(), TCSANOW, &found), 0);
  CRs485Hal hal({.path = mPath, .baud = 9600, .autoDirection = true});
  ASSERT_TRUE(hal.Open());
  const termios raw = Settings();
  EXPECT_EQ(raw.c_lflag & (ECHO | ICANON | ISIG), 0U);
  EXPECT_EQ(raw.c_cflag & (CSIZE | PARENB | CSTOPB), static_cast<tcflag_t>(CS8));
  EXPECT_EQ(::cfgetispeed(&raw), static_cast<speed_t>(B9600));
  EXPECT_EQ(::cfgetospeed(&raw), static_cast<speed_t>(B9600));
  hal.Close();
  EXPECT_EQ(Settings().c_lflag, found.c_lflag);
  EXPECT_EQ(Settings().c_cflag, found.c_cflag & ~static_cast<tcflag_t>(HUPCL));
}

TEST_F(Rs485HalTest, TellsEachFailureOnceInARow) {
  const CLogCapture log(Log::ELogLevel::Info);
  bool canSwitch = false;
  CRs485Hal hal(mPath, 115200, [&canSwitch](int) { return canSwitch; });
  for (const bool can : {false, false, true, false}) {
    canSwitch = can;
    EXPECT_EQ(hal.Open(), can);
  }
  for (const SRs485Line& line : {SRs485Line{mPath}, SRs485Line{"/dev/null", 115200, true},
                                 SRs485Line{mPath, 7, true}, SRs485Line{"/none"}}) {
    CRs485Hal other(line);
    EXPECT_FALSE(other.Open());
    EXPECT_FALSE(other.Open());
  }
  EXPECT_THAT(log.Texts(Log::ELogLevel::Error),
              ::testing::ElementsAre(
                  "Failed to set RS485 props.", "Failed to set RS485 props.", "Failed to set RS485 props.",
                  "Failed to read the terminal settings of \"/dev/null\": Inappropriate ioctl for device",
                  "\"" + mPath + "\" cannot run at 7 baud", "ERROR! Failed to open \"/none\""));
}

}  // namespace
