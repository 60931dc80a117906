#include "src/components/measurementsources/homewizard.h"

#include <vector>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/utility/jsontext.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"
#include "simulation/simulatedhomewizard.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using EFate = CHouseMeter::EFate;
using enum EMeasureType;

constexpr auto kApiIsOff = "the owner has to switch on \"Local API\" in the HomeWizard app, for this meter";

/// Answers the same to everything.
class CFixedAnswer final : public IHttpClient {
 public:
  explicit CFixedAnswer(const std::string& body) : mBody(body) {}
  SHttpAnswer Get(const std::string&) override { return {.failure = {}, .status = 200, .body = mBody}; }

 private:
  const std::string& mBody;
};

class CHomeWizardTest : public ::testing::Test {
 protected:
  CHomeWizardTest() { mHouse.SetLoads({10000, 0, 0}); }

  bool Begin(const std::string& parameters, HttpClientCreator clients = {}) {
    Json::Value json;
    EXPECT_EQ(JsonText::ParseObject(parameters, json), "");
    mSource = std::make_unique<CHomeWizard>(
        mScheduler,
        CHomeWizard::SDependencies{.createHttpClient = clients ? std::move(clients) : mNetwork->Clients(),
                                   .discovery = mNetwork,
                                   .defaultPort = [] { return std::uint16_t{80}; },
                                   .store =
                                       [this](const std::string& former, const Json::Value& found) {
                                         mStored.push_back(former + " " + JsonText::ToLine(found));
                                       },
                                   .files = mFiles,
                                   .dumpFile = "/hw.log"},
        json, CHomeWizard::SPeriods{});
    mSource->RegisterErrorHandler([this](bool error) { mErrors.push_back(error); });
    return mSource->Init();
  }
  void Run(Milliseconds span) { mScheduler.RunFor(span); }
  void Place(const std::string& address, const std::string& serial, CHouseMeter& meter,
             const std::string& type = "HWE-P1", bool isApiOn = true) {
    mNetwork->Place(
        {.address = address, .device = {.serial = serial, .productType = type, .isApiOn = isApiOn}}, meter);
  }
  bool IsRead() const { return mSource->HasMeasurement(Current); }
  std::vector<std::string> Faults() const {
    const auto faults = mLog.Texts(Log::ELogLevel::Error);
    return faults.empty() ? std::vector<std::string>{""} : faults;
  }

  CLogCapture mLog{Log::ELogLevel::Info};
  CVirtualScheduler mScheduler;
  CChargePoint mChargePoint{mScheduler};
  CHouse mHouse{mScheduler, mChargePoint};
  CHouseMeter mMeter{mScheduler, mHouse};
  CHouseMeter mNeighbour{mScheduler, mHouse};
  CMemoryFiles mFiles;
  std::shared_ptr<CSimulatedHomeWizard> mNetwork = std::make_shared<CSimulatedHomeWizard>(mScheduler);
  std::vector<std::string> mStored;
  std::vector<bool> mErrors;
  std::unique_ptr<CHomeWizard> mSource;
};

TEST_F(CHomeWizardTest, FindsTheOnlyMeterOnce) {
  Place("10.0.0.2", "b1", mNeighbour, "HWE-WTR");
  Place("10.0.0.3", "c1", mNeighbour, "HWE-KWH3");
  Place("10.0.0.5", "a1", mMeter);
  ASSERT_TRUE(Begin(R"({"address": ""})"));
  Run(1999ms);
  EXPECT_EQ(mNetwork->Requests(), 0U);
  Run(1ms);
  EXPECT_THAT(mSource->GetMeasurements(Current), ElementsAre(10000, 0, 0));
  EXPECT_THAT(mStored, ElementsAre(R"( {"address":"10.0.0.5:80","serial":"a1"})"));
  EXPECT_FALSE(mNetwork->IsSearched());
  Run(60s);
  EXPECT_EQ(mNetwork->Requests(), 50U) << "the check, and one each period";
  EXPECT_THAT(mErrors, IsEmpty());
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Info),
              ElementsAre("The HomeWizard meter a1 was found at 10.0.0.5:80",
                          "The HomeWizard meter a1 measures Current, ActivePower, Voltage"));
}

TEST_F(CHomeWizardTest, GuessesNothingBetweenSeveral) {
  ASSERT_TRUE(Begin("{}"));
  Run(10s);
  EXPECT_THAT(Faults(),
              ElementsAre("The HomeWizard meter cannot be read: it was not found on the network yet"));
  Place("10.0.0.5", "a1", mMeter);
  Place("10.0.0.6", "b1", mNeighbour);
  Run(10min);
  EXPECT_THAT(
      Faults().back(),
      HasSubstr("2 meters were found on the network, set \"address\" to that of the right one: HWE-P1 a1 "
                "at 10.0.0.5:80, HWE-P1 b1 at 10.0.0.6:80"));
  EXPECT_EQ(Faults().size(), 2U);
  EXPECT_EQ(mNetwork->Requests(), 0U);
  EXPECT_THAT(mStored, IsEmpty());
  // Told by its serial number it is found at once.
  ASSERT_TRUE(Begin(R"({"serial": "B1"})"));
  Run(0ms);
  EXPECT_TRUE(IsRead());
  EXPECT_THAT(mStored, ElementsAre(R"( {"address":"10.0.0.6:80","serial":"b1"})"));
}

TEST_F(CHomeWizardTest, FollowsItsMeterAndNobodyElses) {
  Place("10.0.0.5", "a1", mMeter);
  ASSERT_TRUE(Begin(R"({"address": "10.0.0.5"})"));
  Run(10s);
  EXPECT_THAT(mStored, ElementsAre(R"(10.0.0.5 {"address":"10.0.0.5","serial":"a1"})"));
  // Away, and the neighbour's gets its address.
  mMeter.SetFate(EFate::Away);
  Run(2s);
  Place("10.0.0.5", "b1", mNeighbour);
  Place("10.0.0.9", "a1", mMeter);
  Run(10min);
  EXPECT_THAT(mErrors, ElementsAre(true));
  EXPECT_FALSE(IsRead());
  EXPECT_TRUE(mNetwork->IsSearched());
  EXPECT_THAT(Faults().front(), HasSubstr("the device at 10.0.0.5:80 is another one: \"serial\" is a1, its "
                                          "own is b1"));
  mMeter.SetFate(EFate::Good);
  Run(500ms);
  EXPECT_TRUE(IsRead());
  EXPECT_THAT(mErrors, ElementsAre(true, false));
  EXPECT_EQ(mStored.back(), R"(10.0.0.5 {"address":"10.0.0.9:80","serial":"a1"})");
  EXPECT_FALSE(mNetwork->IsSearched());
  // It stays known through a fresh start, and back at its old address it is found again.
  mSource->DeInit();
  Place("10.0.0.6", "b1", mNeighbour);
  Place("10.0.0.5", "a1", mMeter);
  ASSERT_TRUE(mSource->Init());
  Run(10s);
  EXPECT_TRUE(IsRead());
  EXPECT_EQ(mStored.back(), R"(10.0.0.9:80 {"address":"10.0.0.5:80","serial":"a1"})");
}

TEST_F(CHomeWizardTest, KeepsAnAddressWhoseMeterWasNeverRead) {
  Place("10.0.0.6", "b1", mNeighbour);
  ASSERT_TRUE(Begin(R"({"address": "10.0.0.5"})"));
  Run(10min);
  EXPECT_THAT(mStored, IsEmpty());
  EXPECT_EQ(mNetwork->Requests(), 24U) << "one per pause";
  EXPECT_THAT(
      Faults(),
      ElementsAre("The HomeWizard meter cannot be read: http://10.0.0.5:80/api: Connection refused",
                  "The HomeWizard meter cannot be read: http://10.0.0.5:80/api: Connection refused; a HWE-P1 "
                  "with the serial number b1 was found at 10.0.0.6:80: if that is the meter, set \"address\" "
                  "to it"));
}

TEST_F(CHomeWizardTest, SaysThatTheOwnerHasToSwitchItOn) {
  Place("10.0.0.5", "a1", mMeter, "HWE-P1", false);
  for (const auto* parameters : {"{}", R"({"address": "10.0.0.5"})"}) {
    ASSERT_TRUE(Begin(parameters));
    Run(1min);
    EXPECT_THAT(Faults().back(), HasSubstr(kApiIsOff));
  }
  Place("10.0.0.5", "a1", mMeter);
  Run(30s);
  EXPECT_TRUE(IsRead());
}

TEST_F(CHomeWizardTest, SurvivesDamageAndSearchesThatCannotRun) {
  Place("10.0.0.5", "a1", mMeter);
  mNetwork->FailSearches("avahi: Daemon not running");
  ASSERT_TRUE(Begin(R"({"address": "10.0.0.5", "serial": "a1"})"));
  Run(5s);
  mMeter.SetFate(EFate::Garbled);
  Run(10min);
  EXPECT_THAT(mErrors, ElementsAre(true));
  EXPECT_EQ(Faults().size(), 2U) << "what fails, and that it cannot be looked for either";
  EXPECT_THAT(Faults()[0], HasSubstr("http://10.0.0.5:80/api: the answer is no JSON: "));
  EXPECT_LE(mNetwork->Searches(), 13U);
  mMeter.SetFate(EFate::Good);
  Run(30s);
  EXPECT_TRUE(IsRead());
  mSource.reset();

  ASSERT_TRUE(Begin("{}"));
  Run(2min);
  EXPECT_THAT(Faults().back(),
              HasSubstr(" it cannot be looked for on the network: avahi: Daemon not running"));
  mNetwork->FailSearches("");
  Run(1min);
  EXPECT_TRUE(IsRead());
}

TEST_F(CHomeWizardTest, TakesValuesThatStandStillForACableThatIsOut) {
  // A house that draws 40 W is heard of again after 90 s, when it is 1 Wh.
  std::string body = R"({"active_power_w": 40, "active_current_l1_a": 1})";
  ASSERT_TRUE(
      Begin(R"({"address": "p1.lan:8080"})", [&body] { return std::make_unique<CFixedAnswer>(body); }));
  Run(180s);
  body =
      R"({"active_power_w": 40, "active_current_l1_a": 1, "active_voltage_l1_v": 230, "wifi_strength": 50})";
  Run(60s);
  EXPECT_THAT(mErrors, IsEmpty());
  body =
      R"({"active_power_w": 40, "active_current_l1_a": 1, "active_voltage_l1_v": 230, "wifi_strength": 51})";
  Run(5min);
  EXPECT_THAT(mErrors, ElementsAre(true));
  EXPECT_THAT(Faults(), ElementsAre("The HomeWizard meter cannot be read: its values do not change any more, "
                                    "its P1 cable may be out"));
  EXPECT_FALSE(IsRead());
  body = R"({"active_power_w": 41, "active_current_l1_a": 1})";
  Run(30s);
  EXPECT_THAT(mErrors, ElementsAre(true, false));
  EXPECT_TRUE(IsRead());
  mSource->DumpLastReceivedData();
  EXPECT_EQ(mFiles.Content("/hw.log"), "http://p1.lan:8080/api/v1/data\nstatus 200\n" + body + "\n");
  EXPECT_EQ(mLog.Count("Dumping last received HomeWizard data in /hw.log"), 1);
  mFiles.FailReplacements("full");
  mSource->DumpLastReceivedData();
  EXPECT_EQ(mLog.Count("Failed to open /hw.log for writing."), 1);
}

TEST_F(CHomeWizardTest, RefusesParametersAndDevicesThatAreNoGood) {
  const std::pair<const char*, const char*> kCases[] = {
      {R"({"address": "http://10.0.0.5"})", R"("address" is neither a host nor host:port: http://10.0.0.5)"},
      {R"({"address": "10.0.0.5:0"})", R"("address" is neither)"},
      {R"({"address": ":80"})", R"("address" is neither)"},
      {R"({"serial": "a1 b2"})", R"("serial" is no serial number: a1 b2)"}};
  for (const auto& [parameters, fault] : kCases) {
    EXPECT_FALSE(Begin(parameters));
    EXPECT_THAT(Faults().back(), HasSubstr(fault));
  }
  Place("10.0.0.2", "b1", mNeighbour, "HWE-WTR");
  ASSERT_TRUE(Begin(R"({"address": "10.0.0.2"})"));
  Run(10s);
  EXPECT_THAT(Faults().back(),
              HasSubstr("the device at 10.0.0.2:80 is a HWE-WTR, which does not measure at"));
}

}  // namespace
