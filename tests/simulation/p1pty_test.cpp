#include "simulation/p1pty.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>

#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "platform/utility/posixfiles.h"
#include "platform/worker/realscheduler.h"
#include "src/communication/communicationlistener.h"
#include "src/communication/rs485hal.h"
#include "src/components/measurementsources/p1extender.h"
#include "src/components/measurementsources/p1parser.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/// What the error handlers are told, in order. To wait for what never comes takes the test's time-out.
class CErrors {
 public:
  void Tell(bool error) { mTold.at(mCount++).set_value(error); }
  bool Next() { return mTold.at(mSeen++).get_future().get(); }

 private:
  std::array<std::promise<bool>, 64> mTold;
  std::size_t mCount = 0;
  std::size_t mSeen = 0;
};

class P1PtyTest : public ::testing::Test {
 protected:
  P1PtyTest() {
    std::string pattern = (fs::temp_directory_path() / "p1pty.XXXXXX").string();
    mRoot = ::mkdtemp(pattern.data());
    mHouse.SetLoads({10000, 0, 20000});
  }
  ~P1PtyTest() override { fs::remove_all(mRoot); }

  fs::path mRoot;
  CLogCapture mLog{Log::ELogLevel::Info};
  CRealScheduler mScheduler;
  CChargePoint mChargePoint{mScheduler};
  CHouse mHouse{mScheduler, mChargePoint};
  CHouseMeter mMeter{mScheduler, mHouse};
};

TEST_F(P1PtyTest, IsReadThroughTheWholeLineWheneverItIsThere) {
  CPosixFiles files;
  CErrors errors;
  CP1Pty pty(mScheduler, mMeter, mRoot, 20ms);
  auto line = std::make_shared<CCommunicationListener>(
      std::make_unique<CRs485Hal>(SRs485Line{.path = pty.Path(), .autoDirection = true}),
      std::make_unique<CWorker>(mScheduler, "CCommunicationListener"), CBackOff(5ms, 40ms));
  CP1Extender extender(mScheduler, line, std::make_unique<CP1Parser>(files, mRoot / "p1.log", nullptr),
                       "The meter", {.sampling = 10ms, .storage = 200ms, .silence = 500ms});
  extender.RegisterErrorHandler([&errors](bool error) { errors.Tell(error); });
  EXPECT_FALSE(extender.Init()) << "there is no line yet";
  EXPECT_TRUE(errors.Next());

  ASSERT_TRUE(pty.Start());
  EXPECT_FALSE(errors.Next()) << "tried again after 1 s";
  const ThreePhaseValue current = extender.GetMeasurements(EMeasureType::Current);
  EXPECT_NEAR(current[0], 10000, 5);
  EXPECT_NEAR(current[2], 20000, 5);

  for (const auto fate : {CHouseMeter::EFate::Away, CHouseMeter::EFate::Garbled}) {
    mMeter.SetFate(fate);
    EXPECT_TRUE(errors.Next());
    EXPECT_FALSE(extender.HasMeasurement(EMeasureType::Current));
    EXPECT_EQ(fs::is_symlink(pty.Path()), fate != CHouseMeter::EFate::Away);
    mMeter.SetFate(CHouseMeter::EFate::Good);
    EXPECT_FALSE(errors.Next());
    EXPECT_NEAR(extender.GetMeasurements(EMeasureType::Current)[0], 10000, 5);
  }
  extender.DumpLastReceivedData();
  std::string dump;
  EXPECT_FALSE(files.Read(mRoot / "p1.log", dump));
  EXPECT_EQ(dump.substr(0, 15), "p1_version: 50\n");
  EXPECT_EQ(mLog.Count("Failed to read data: ::read returned 0"), 1);
  EXPECT_EQ(mLog.Count("The device for listening is heard again"), 1);
  EXPECT_EQ(mLog.Count("Checksum mismatch"), 1);
  extender.DeInit();
}

TEST_F(P1PtyTest, RemovesNothingOfOthers) {
  fs::create_directory(mRoot / "dev");
  CP1Pty first(mScheduler, mMeter, mRoot);
  std::ofstream(first.Path()) << "a file";
  EXPECT_FALSE(first.Start());
  first.Stop();
  ASSERT_TRUE(fs::is_regular_file(first.Path()));
  fs::remove(first.Path());

  EXPECT_TRUE(first.Start());
  CP1Pty second(mScheduler, mMeter, mRoot);
  EXPECT_FALSE(second.Start());
  second.Stop();
  EXPECT_TRUE(fs::is_symlink(first.Path()));
  first.Stop();
  EXPECT_FALSE(fs::is_symlink(first.Path()));
  EXPECT_EQ(
      mLog.Count("There is no meter at \"" + first.Path().string() + "\": there is something else already"),
      2);
}

}  // namespace
