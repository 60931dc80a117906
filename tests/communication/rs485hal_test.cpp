#include "src/communication/rs485hal.h"

#include <array>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>

#include "platform/log/logcapture.h"

namespace {

using ::testing::ElementsAre;

class Rs485HalTest : public ::testing::Test {
 protected:
  Rs485HalTest() {
    std::array<char, 64> name{};
    EXPECT_EQ(::grantpt(mMaster.Get()) | ::unlockpt(mMaster.Get()), 0);
    EXPECT_EQ(::ptsname_r(mMaster.Get(), name.data(), name.size()), 0);
    mPath = name.data();
    mSlave = CFileDescriptor(::open(mPath.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  }
  termios Settings() const {
    termios settings{};
    EXPECT_EQ(::tcgetattr(mSlave.Get(), &settings), 0);
    return settings;
  }

  const CFileDescriptor mMaster{::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
  CFileDescriptor mSlave;
  std::string mPath;
  CLogCapture mLog{Log::ELogLevel::Info};
};

TEST_F(Rs485HalTest, MakesTheDeviceRawAndLeavesItAsItWas) {
  termios found = Settings();
  found.c_cflag |= HUPCL;
  ASSERT_EQ(::tcsetattr(mSlave.Get(), TCSANOW, &found), 0);
  CRs485Hal hal({.path = mPath, .baud = 9600, .autoDirection = true});
  EXPECT_LT(hal.Descriptor(), 0);
  ASSERT_TRUE(hal.Open());
  const termios raw = Settings();
  EXPECT_EQ(raw.c_lflag & (ECHO | ICANON | ISIG), 0U);
  EXPECT_EQ(raw.c_cflag & (CSIZE | PARENB | CSTOPB), static_cast<tcflag_t>(CS8));
  EXPECT_EQ(::cfgetispeed(&raw), static_cast<speed_t>(B9600));
  EXPECT_EQ(::cfgetospeed(&raw), static_cast<speed_t>(B9600));
  hal.Close();
  const termios left = Settings();
  EXPECT_EQ(left.c_lflag, found.c_lflag);
  EXPECT_EQ(left.c_cflag, found.c_cflag & ~static_cast<tcflag_t>(HUPCL));
  EXPECT_EQ(::cfgetospeed(&left), ::cfgetospeed(&found));
}

TEST_F(Rs485HalTest, TellsEachFailureOnceInARow) {
  int switched = 0;
  bool canSwitch = false;
  CRs485Hal hal(mPath, 115200, [&](int descriptor) { return ++switched, descriptor >= 0 && canSwitch; });
  EXPECT_FALSE(hal.Open());
  EXPECT_FALSE(hal.Open());
  EXPECT_LT(hal.Descriptor(), 0);
  canSwitch = true;
  EXPECT_TRUE(hal.Open());
  canSwitch = false;
  EXPECT_FALSE(hal.Open());
  EXPECT_EQ(switched, 4);

  for (const SRs485Line& line : {SRs485Line{mPath}, SRs485Line{"/dev/null", 115200, true},
                                 SRs485Line{mPath, 7, true}, SRs485Line{"/none"}}) {
    CRs485Hal other(line);
    EXPECT_FALSE(other.Open());
    EXPECT_FALSE(other.Open());
  }
  EXPECT_THAT(
      mLog.Texts(Log::ELogLevel::Error),
      ElementsAre("Failed to set RS485 props.", "Failed to set RS485 props.", "Failed to set RS485 props.",
                  "Failed to read the terminal settings of \"/dev/null\": Inappropriate ioctl for device",
                  "\"" + mPath + "\" cannot run at 7 baud", "ERROR! Failed to open \"/none\""));
}

}  // namespace
