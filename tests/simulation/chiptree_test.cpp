#include "simulation/chiptree.h"

#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <stdlib.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "src/components/measurementsources/ade7854.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Registers = ICtMeter::RmsRegisters;

class ChipTreeTest : public testing::Test {
 protected:
  ChipTreeTest() {
    std::string pattern = (fs::temp_directory_path() / "chiptree.XXXXXX").string();
    mRoot = ::mkdtemp(pattern.data());
    mFolder = mRoot / "var/sysfs-links/bop";
  }
  ~ChipTreeTest() override { fs::remove_all(mRoot); }

  std::string TextOf(const char* attribute) {
    std::ifstream file(mFolder / attribute);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  CLogCapture mLog;
  CVirtualScheduler mScheduler;
  CMeteringChip::Currents mCurrents{10000, 20000, 50};
  CMeteringChip mChip{[this] { return mCurrents; }};
  fs::path mRoot, mFolder;
  const std::array<ICtMeter::SCalibration, 3> mCalibrations{{{-1}, {4194304}, {0, 0, 0, -500}}};
  const std::array<std::uint16_t, 1> mGains{2};
};

/// With the daemon's own driver at the other end.
TEST_F(ChipTreeTest, IsTheChipToTheDaemon) {
  CChipTree tree(mScheduler, mChip, mRoot);
  EXPECT_THROW(Hal::CAde7854{mRoot}, Hal::MeterException) << "not there yet";
  tree.Start();
  mScheduler.RunDue();
  Hal::CAde7854 driver(mRoot);
  const auto configure = [&] {
    const bool done = driver.Initialize(mCalibrations, mGains);
    mScheduler.RunFor(200ms);
    return done && driver.IsRunning();
  };
  ASSERT_TRUE(configure());
  const auto configuration = mChip.Configuration();
  ASSERT_TRUE(configuration);
  EXPECT_EQ(configuration->pgaCodes, 1U);
  EXPECT_EQ(configuration->phases[0].currentGain, 0xFFFFFFU);
  EXPECT_EQ(configuration->phases[2].currentRmsOffset, 0xFFFE0CU);
  // 4191910 * 6.22254 * 2 / 1500 for each A; half as much again; the square less 500 * 128.
  EXPECT_EQ(driver.ReadCurrentRms(), (Registers{347791, 1043373, 1720}));
  EXPECT_EQ(TextOf("airms"), "347791    \n");
  mCurrents[0] = 50;
  mScheduler.RunFor(100ms);
  EXPECT_EQ(TextOf("airms"), "1739      \n");

  mChip.Reset();
  mScheduler.RunFor(100ms);
  EXPECT_FALSE(driver.IsRunning());
  EXPECT_TRUE(configure());

  mChip.Vanish();
  mScheduler.RunFor(100ms);
  EXPECT_FALSE(fs::exists(mFolder));
  EXPECT_EQ(driver.ReadCurrentRms(), std::nullopt);
  mChip.Return();
  mScheduler.RunFor(100ms);
  EXPECT_TRUE(configure());

  for (const auto& [attribute, text] : {std::pair("aigain", "x"), {"reset", "1"}}) {
    std::fstream(mFolder / attribute, std::ios::in | std::ios::out) << text;
  }
  mScheduler.RunFor(200ms);
  EXPECT_EQ(mChip.Configuration(), CMeteringChip::SConfiguration{}) << "reset by hand";
  tree.Stop();
  EXPECT_FALSE(fs::exists(mFolder));
}

TEST_F(ChipTreeTest, LeavesAloneWhatIsNotItsOwn) {
  CChipTree tree(mScheduler, mChip, mRoot);
  fs::create_directories(mFolder.parent_path());
  std::ofstream(mFolder) << "a file";
  tree.Start();
  mScheduler.RunFor(1s);
  EXPECT_THAT(
      mLog.Texts(Log::ELogLevel::Error),
      testing::ElementsAre(testing::StartsWith("The metering chip cannot be shown in " + mFolder.string())));
  EXPECT_TRUE(fs::is_regular_file(mFolder));
}

}  // namespace
