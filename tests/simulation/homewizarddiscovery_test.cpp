#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>

#include <gmock/gmock.h>

#include "platform/http/curlhttpclient.h"
#include "platform/utility/jsontext.h"
#include "platform/worker/realscheduler.h"
#include "simulation/homewizardserver.h"
#include "simulation/memoryfiles.h"
#include "src/components/measurementsources/homewizard.h"
#include "support/eventually.h"

namespace {

using namespace std::chrono_literals;

void SignalAvahi(int number) {
  pid_t pid = 0;
  ASSERT_TRUE(std::ifstream("/run/avahi-daemon/pid") >> pid);
  ASSERT_EQ(::kill(pid, number), 0);
}

/// A server on a network with avahi, see with_avahi.py.
class HomeWizardDiscoveryTest : public ::testing::Test {
 protected:
  HomeWizardDiscoveryTest() { EXPECT_TRUE(mServer.Start()); }

  std::unique_ptr<IServiceDiscovery::ISearch> Search() {
    const auto begin = std::chrono::steady_clock::now();
    auto search = mDiscovery->Search(
        HomeWizardPages::kServiceType,
        [this](const SFoundService& service) { mFinds += service.address == "10.9.0.1" ? 1 : 0; }, mReason);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1500ms);
    return search;
  }
  bool FindsMore() {
    return Eventually([this, before = mFinds.load()] { return mFinds > before; });
  }

  CRealScheduler mScheduler;
  CChargePoint mChargePoint{mScheduler};
  CHouse mHouse{mScheduler, mChargePoint};
  CHouseMeter mMeter{mScheduler, mHouse};
  CHomeWizardServer mServer{mScheduler, mMeter, {.port = 8087, .isOnAllInterfaces = true}};
  std::atomic<int> mFinds = 0;
  std::string mReason;
  const std::shared_ptr<IServiceDiscovery> mDiscovery = CreateServiceDiscovery();
};

TEST_F(HomeWizardDiscoveryTest, LeadsToTheMeter) {
  CMemoryFiles files;
  std::string stored;
  CHomeWizard source(
      mScheduler,
      {.createHttpClient = [] { return std::make_unique<CCurlHttpClient>(); },
       .discovery = mDiscovery,
       .defaultPort = [] { return std::uint16_t{80}; },
       .store = [&stored](const std::string&, const Json::Value& found) { stored = JsonText::ToLine(found); },
       .files = files,
       .dumpFile = "/hw.log"},
      {}, {});
  ASSERT_TRUE(source.Init());
  EXPECT_TRUE(Eventually([&source] { return source.HasMeasurement(EMeasureType::Voltage); }));
  source.DeInit();
  EXPECT_EQ(stored, R"({"address":"10.9.0.1:8087","serial":"3c39e7001122"})");
}

TEST_F(HomeWizardDiscoveryTest, SurvivesADaemonThatGoesOrHangs) {
  auto search = Search();
  ASSERT_TRUE(search) << mReason;
  EXPECT_TRUE(FindsMore());
  SignalAvahi(SIGTERM);
  EXPECT_TRUE(Eventually([this] { return !Search() && mReason == "avahi: Daemon not running"; })) << mReason;
  ASSERT_TRUE(Eventually([] { return std::system(std::getenv("START_AVAHI")) == 0; }));
  EXPECT_TRUE(FindsMore()) << "by the same search, announced by the same server";

  SignalAvahi(SIGSTOP);
  EXPECT_FALSE(Search());
  EXPECT_EQ(mReason, "avahi does not answer within 1000 ms");
  const auto begin = std::chrono::steady_clock::now();
  search.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 1500ms);
  SignalAvahi(SIGCONT);
  EXPECT_TRUE(Eventually([this] { return Search() != nullptr; }));
}

}  // namespace
