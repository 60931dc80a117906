#include "simulation/homewizardserver.h"

#include <atomic>
#include <thread>

#include <gmock/gmock.h>

#include "platform/http/curlhttpclient.h"
#include "platform/log/logcapture.h"
#include "platform/worker/realscheduler.h"
#include "simulation/memoryfiles.h"
#include "src/components/measurementsources/homewizard.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using EFate = CHouseMeter::EFate;

bool Eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + 20s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(10ms);
  }
  return true;
}

TEST(HomeWizardServerTest, IsReadOverHttpAndFoundAgainAfterItsAbsence) {
  const CLogCapture log(Log::ELogLevel::Error);
  CRealScheduler scheduler;
  CChargePoint chargePoint(scheduler);
  CHouse house(scheduler, chargePoint);
  house.SetLoads({10000, 0, 4000});
  CHouseMeter meter(scheduler, house);
  CHomeWizardServer server(scheduler, meter, {});
  ASSERT_TRUE(server.Start());
  CMemoryFiles files;
  Json::Value parameters;
  parameters["address"] = "127.0.0.1";
  CHomeWizard source(scheduler,
                     {.createHttpClient = [] { return std::make_unique<CCurlHttpClient>(); },
                      .discovery = std::make_shared<CNoServiceDiscovery>(),
                      .defaultPort = [&server] { return server.Port(); },
                      .store = [](const std::string&, const Json::Value&) {},
                      .files = files,
                      .dumpFile = "/hw.log"},
                     parameters, {.sampling = 50ms, .storage = 1000ms, .silence = 300ms});
  std::atomic<bool> isInError = false;
  source.RegisterErrorHandler([&isInError](bool error) { isInError = error; });
  ASSERT_TRUE(source.Init());
  const auto isRead = [&source] { return source.HasMeasurement(EMeasureType::Current); };
  ASSERT_TRUE(Eventually(isRead));
  EXPECT_THAT(source.GetMeasurements(EMeasureType::Current), ElementsAre(10000, 0, 4000));
  for (const auto& [fate, reason] : {std::pair(EFate::Away, ": Connection refused"),
                                     std::pair(EFate::Garbled, "/api: the answer is no JSON")}) {
    meter.SetFate(fate);
    EXPECT_TRUE(Eventually([&isInError] { return isInError.load(); }));
    EXPECT_THAT(log.Texts(Log::ELogLevel::Error).back(), HasSubstr(reason));
    meter.SetFate(EFate::Good);
    EXPECT_TRUE(Eventually([&] { return !isInError && isRead(); }));
  }
}

}  // namespace
