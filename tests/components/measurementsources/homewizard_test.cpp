#include "src/components/measurementsources/homewizard.h"

#include "components/measurementsources/meteredhouse.h"
#include "platform/utility/jsontext.h"
#include "simulation/simulatedhomewizard.h"

namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using EFate = CHouseMeter::EFate;
using enum EMeasureType;

/// Answers the same to everything.
class CFixedAnswer final : public IHttpClient {
 public:
  explicit CFixedAnswer(const std::string& body) : mBody(body) {}
  SHttpAnswer Get(const std::string&) override { return {.failure = {}, .status = 200, .body = mBody}; }

 private:
  const std::string& mBody;
};

class CHomeWizardTest : public ::testing::Test, protected SMeteredHouse {
 protected:
  bool Begin(const std::string& parameters, HttpClientCreator clients = {}) {
    Json::Value json;
    EXPECT_EQ(JsonText::ParseObject(parameters, json), "");
    mSource = std::make_unique<CHomeWizard>(
        scheduler,
        CHomeWizard::SDependencies{.createHttpClient = clients ? std::move(clients) : mNetwork->Clients(),
                                   .discovery = mNetwork,
                                   .defaultPort = [] { return std::uint16_t{80}; },
                                   .store =
                                       [this](const std::string& former, const Json::Value& found) {
                                         told.push_back(former + " is now " + JsonText::ToLine(found));
                                       },
                                   .files = files,
                                   .dumpFile = "/hw.log"},
        json, CHomeWizard::SPeriods{});
    Follow(*mSource);
    return mSource->Init();
  }
  void Place(const std::string& address, const std::string& serial, CHouseMeter& shown,
             const std::string& type = "HWE-P1", bool isApiOn = true) {
    mNetwork->Place(
        {.address = address, .device = {.serial = serial, .productType = type, .isApiOn = isApiOn}}, shown);
  }
  bool IsRead() const { return mSource->HasMeasurement(Current); }

  CHouseMeter mNeighbour{scheduler, house};
  std::shared_ptr<CSimulatedHomeWizard> mNetwork = std::make_shared<CSimulatedHomeWizard>(scheduler);
  std::unique_ptr<CHomeWizard> mSource;
};

TEST_F(CHomeWizardTest, FindsTheOnlyMeterOnce) {
  Place("10.0.0.2", "b1", mNeighbour, "HWE-WTR");
  Place("10.0.0.3", "c1", mNeighbour, "HWE-KWH3");
  Place("10.0.0.5", "a1", meter);
  ASSERT_TRUE(Begin(R"({"address": ""})"));
  EXPECT_EQ(Told(1999ms), "");
  EXPECT_EQ(mNetwork->Requests(), 0U);
  EXPECT_EQ(Told(1ms), R"( is now {"address":"10.0.0.5:80","serial":"a1"}; )"
                       "The HomeWizard meter a1 was found at 10.0.0.5:80; "
                       "The HomeWizard meter a1 measures Current, ActivePower, Voltage");
  EXPECT_THAT(mSource->GetMeasurements(Current), ElementsAre(8000, 0, 3000));
  EXPECT_FALSE(mNetwork->IsSearched());
  EXPECT_EQ(Told(60s), "");
  EXPECT_EQ(mNetwork->Requests(), 50U) << "the check, and one each period";
}

TEST_F(CHomeWizardTest, GuessesNothingBetweenSeveral) {
  ASSERT_TRUE(Begin("{}"));
  EXPECT_EQ(Told(10s), "in error; The HomeWizard meter cannot be read: it was not found on the network yet");
  Place("10.0.0.5", "a1", meter);
  Place("10.0.0.6", "b1", mNeighbour);
  EXPECT_EQ(
      Told(10min),
      "The HomeWizard meter cannot be read: 2 meters were found on the network, set \"address\" to that "
      "of the right one: HWE-P1 a1 at 10.0.0.5:80, HWE-P1 b1 at 10.0.0.6:80");
  EXPECT_EQ(mNetwork->Requests(), 0U);
  // Told by its serial number it is found at once.
  ASSERT_TRUE(Begin(R"({"serial": "B1"})"));
  EXPECT_THAT(Told(), StartsWith(R"( is now {"address":"10.0.0.6:80","serial":"b1"}; )"));
  EXPECT_TRUE(IsRead());
}

TEST_F(CHomeWizardTest, FollowsItsMeterAndNobodyElses) {
  Place("10.0.0.5", "a1", meter);
  ASSERT_TRUE(Begin(R"({"address": "10.0.0.5"})"));
  EXPECT_THAT(Told(10s), StartsWith(R"(10.0.0.5 is now {"address":"10.0.0.5","serial":"a1"}; )"));
  // Away, and the neighbour's gets its address.
  meter.SetFate(EFate::Away);
  scheduler.RunFor(2s);
  Place("10.0.0.5", "b1", mNeighbour);
  Place("10.0.0.9", "a1", meter);
  EXPECT_THAT(Told(10min), AllOf(StartsWith("in error; "),
                                 HasSubstr("the device at 10.0.0.5:80 is another one: \"serial\" is a1, its "
                                           "own is b1")));
  EXPECT_FALSE(IsRead());
  meter.SetFate(EFate::Good);
  EXPECT_THAT(Told(500ms), StartsWith(R"(10.0.0.5 is now {"address":"10.0.0.9:80","serial":"a1"}; good; )"));
  EXPECT_FALSE(mNetwork->IsSearched());
  // It stays known through a fresh start, and back at its old address it is found again.
  mSource->DeInit();
  Place("10.0.0.6", "b1", mNeighbour);
  Place("10.0.0.5", "a1", meter);
  ASSERT_TRUE(mSource->Init());
  EXPECT_THAT(Told(10s), HasSubstr(R"(10.0.0.9:80 is now {"address":"10.0.0.5:80","serial":"a1"})"));
}

TEST_F(CHomeWizardTest, KeepsAnAddressWhoseMeterWasNeverRead) {
  Place("10.0.0.6", "b1", mNeighbour);
  ASSERT_TRUE(Begin(R"({"address": "10.0.0.5"})"));
  EXPECT_EQ(Told(10min),
            "in error; The HomeWizard meter cannot be read: http://10.0.0.5:80/api: Connection refused; The "
            "HomeWizard meter cannot be read: http://10.0.0.5:80/api: Connection refused; a HWE-P1 with the "
            "serial number b1 was found at 10.0.0.6:80: if that is the meter, set \"address\" to it");
  EXPECT_EQ(mNetwork->Requests(), 24U) << "one per pause";
}

TEST_F(CHomeWizardTest, SurvivesDamageAndSearchesThatCannotRun) {
  Place("10.0.0.5", "a1", meter);
  mNetwork->FailSearches("avahi: Daemon not running");
  ASSERT_TRUE(Begin(R"({"address": "10.0.0.5", "serial": "a1"})"));
  Told(5s);
  meter.SetFate(EFate::Garbled);
  const auto said = Told(10min);
  EXPECT_THAT(said,
              StartsWith("in error; The HomeWizard meter a1 cannot be read: http://10.0.0.5:80/api: the "
                         "answer is no JSON: "));
  EXPECT_THAT(said, HasSubstr(" it cannot be looked for on the network: avahi: Daemon not running"));
  EXPECT_LE(mNetwork->Searches(), 13U);
  mNetwork->FailSearches("");
  meter.SetFate(EFate::Good);
  EXPECT_THAT(Told(30s), StartsWith("good; "));
}

TEST_F(CHomeWizardTest, TakesValuesThatStandStillForACableThatIsOut) {
  // A house that draws 40 W is heard of again after 90 s, when it is 1 Wh.
  const std::string less = R"({"active_power_w": 40, "active_current_l1_a": 1)";
  std::string body = less + "}";
  ASSERT_TRUE(
      Begin(R"({"address": "p1.lan:8080"})", [&body] { return std::make_unique<CFixedAnswer>(body); }));
  scheduler.RunFor(180s);
  body = less + R"(, "active_voltage_l1_v": 230, "wifi_strength": 50})";
  EXPECT_THAT(Told(60s), StartsWith("The HomeWizard meter"));
  body = less + R"(, "active_voltage_l1_v": 230, "wifi_strength": 51})";
  EXPECT_EQ(Told(5min),
            "in error; The HomeWizard meter cannot be read: its values do not change any more, its P1 cable "
            "may be out");
  body = R"({"active_power_w": 41, "active_current_l1_a": 1})";
  EXPECT_THAT(Told(30s), StartsWith("good; "));
  mSource->DumpLastReceivedData();
  EXPECT_EQ(files.Content("/hw.log"), "http://p1.lan:8080/api/v1/data\nstatus 200\n" + body + "\n");
  files.FailReplacements("full");
  mSource->DumpLastReceivedData();
  EXPECT_THAT(Told(), EndsWith("Dumping last received HomeWizard data in /hw.log; Failed to open /hw.log for "
                               "writing."));
}

TEST_F(CHomeWizardTest, RefusesParametersAndDevicesThatAreNoGood) {
  Place("10.0.0.2", "b1", mNeighbour, "HWE-WTR");
  Place("10.0.0.3", "a1", meter, "HWE-P1", false);
  const struct {
    const char *parameters, *fault;
    bool canBegin = false;
  } kCases[] = {
      {R"({"address": "http://10.0.0.5"})", R"("address" is neither a host nor host:port: http://10.0.0.5)"},
      {R"({"address": ":80"})", R"("address" is neither)"},
      {R"({"serial": "a1 b2"})", R"("serial" is no serial number: a1 b2)"},
      {R"({"address": "10.0.0.2"})", "the device at 10.0.0.2:80 is a HWE-WTR, which does not measure at",
       true},
      {"{}", R"(the owner has to switch on "Local API" in the HomeWizard app, for this meter)", true},
      {R"({"address": "10.0.0.3"})",
       R"(the owner has to switch on "Local API" in the HomeWizard app, for this meter)", true}};
  for (const auto& [parameters, fault, canBegin] : kCases) {
    EXPECT_EQ(Begin(parameters), canBegin) << parameters;
    EXPECT_THAT(Told(1min), AllOf(StartsWith("in error; "), HasSubstr(fault)));
  }
}

}  // namespace
