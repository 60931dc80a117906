#include "simulation/scriptedleader.h"

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/multicastmedium.h"
#include "simulation/rs485bus.h"
#include "simulation/seededrandom.h"
#include "simulation/strictjson.h"
#include "src/communication/ethernetcommunication.h"
#include "src/components/loadbalancing/ilbphasehandler.h"
#include "src/components/loadbalancing/lbencryptedpacketparser.h"
#include "src/components/loadbalancing/lbfollowerprotocol.h"
#include "src/components/loadbalancing/loadbalancing.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "support/diagnosticsrecord.h"
#include "support/memoryconfig.h"

namespace {

using namespace std::chrono_literals;
using testing::Each;
using EState = CScriptedLeader::EState;

constexpr std::uint16_t kGroup = 7;
constexpr MediumStation kLeader = 100;

std::string SerialNumber(MediumStation station) {
  return fmt::format("12-34-ABC-DE{}", station);
}

struct SPhases final : ILbPhaseHandler {
  void SetLimit(std::uint32_t, bool) override {}
  std::uint8_t GetReport() override { return kDiscoveryDone | kDrawsOnL1; }
};

/// A leader of four followers, on whichever medium.
class ScriptedLeaderTest : public testing::TestWithParam<CScriptedLeader::EMedium> {
 protected:
  static constexpr MediumStation kFollowers = 4;

  bool IsLine() const { return GetParam() == CScriptedLeader::EMedium::Line; }
  std::shared_ptr<ICommunicationListener> Attach(MediumStation station) {
    if (IsLine()) return mBus.Attach(station);
    return std::make_shared<CEthernetCommunication>(
        CEthernetCommunication::SSurroundings{mScheduler, *mMedium.Attach(station),
                                              std::make_unique<CSeededRandom>(station)},
        "eth0", CLoadBalancing::kPort, kGroup);
  }
  std::unique_ptr<ILbPacketParser> Parser(MediumStation station) const {
    if (IsLine()) return std::make_unique<CLbPacketParser>();
    auto parser = std::make_unique<CLbEncryptedPacketParser>(std::make_unique<CSeededRandom>(station + 1000));
    EXPECT_TRUE(parser->Initialize("let us share", kGroup));
    return parser;
  }
  void Follow(MediumStation station) {
    const auto settings = std::make_shared<CMemoryConfig>();
    settings->Set("GroupLoadBalancingFallbackCurrent", 6);
    settings->Set("MainboardSn", SerialNumber(station));
    mFollowers.push_back(std::make_unique<CLbFollowerProtocol>(
        CLbProtocolBase::SSurroundings{
            .scheduler = mScheduler,
            .phaseHandler = std::make_shared<SPhases>(),
            .config = std::make_shared<CLoadBalancingConfig>(settings, settings, settings),
            .communication = Attach(station),
            .parser = Parser(station),
            .setLimit = [this, station](float ampere) { mLimits[station - 1] = static_cast<int>(ampere); },
            .meter =
                [] {
                  return SStationMeterData{.milliAmpere = {9000, 0, 10}, .milliVolt = {}};
                }},
        mRecorder.Signal(DiagnosticsSignals::kLoadBalancingUndiscovered)));
    mFollowers.back()->Start();
    mFollowers.back()->Enable();
  }
  void Lead(const std::string& orders) {
    for (MediumStation station = 1; station <= kFollowers; ++station) Follow(station);
    CScriptedLeader::SSettings settings{.medium = GetParam()};
    for (MediumStation station = 1; IsLine() && station <= kFollowers; ++station)
      settings.stations.push_back(*ToLbSerialNumber(SerialNumber(station)));
    settings.script = ReadLeaderScript("script.json", R"({"orders": [)" + orders + "]}");
    mLeader.emplace(mScheduler, Attach(kLeader), Parser(kLeader), std::move(settings));
    ASSERT_TRUE(mLeader->Start());
  }
  /// So that nothing passes between those and the rest.
  void Split(const CHearing::Parts& parts) {
    mMedium.Split(parts);
    mBus.Split(parts);
  }
  using States = std::vector<EState>;
  States Seen() {
    States states;
    for (const auto& row : mLeader->Rows()) states.push_back(row.state);
    return states;
  }
  using Limits = std::array<int, kFollowers>;

  CLogCapture mLog{Log::ELogLevel::Warning};
  CVirtualScheduler mScheduler;
  CMulticastMedium mMedium{mScheduler, 1};
  CRs485Bus mBus{mScheduler, 1};
  CDiagnosticsRecord mRecorder{mScheduler};
  Limits mLimits{};
  std::vector<std::unique_ptr<CLbFollowerProtocol>> mFollowers;
  std::optional<CScriptedLeader> mLeader;
};

INSTANTIATE_TEST_SUITE_P(Media, ScriptedLeaderTest,
                         testing::Values(CScriptedLeader::EMedium::Network, CScriptedLeader::EMedium::Line));

TEST_P(ScriptedLeaderTest, FindsStationsAndTellsThemWhatItsScriptSays) {
  Lead(R"({"at": "00:00:10", "station": "12-34-ABC-DE2", "milliampere": 0, "phase-discovery": true},
          {"at": "00:00:20", "milliampere": 8000, "phase-discovery": false})");
  EXPECT_THAT(mLimits, Each(6));
  mScheduler.RunFor(4s);
  EXPECT_THAT(mLimits, Each(16));
  mScheduler.RunFor(8s);
  EXPECT_EQ(mLimits, (Limits{16, 10, 16, 16}));
  mScheduler.RunFor(10s);
  EXPECT_THAT(mLimits, Each(8));
  const auto rows = mLeader->Rows();
  ASSERT_EQ(rows.size(), 4U);
  EXPECT_EQ(ToText(rows[1].serialNumber), "12-34-ABC-DE2");
  EXPECT_EQ(rows[1].address, IsLine() ? "the RS485 line" : "fe80::2%2:23068");
  EXPECT_EQ(rows[1].state, EState::Led);
  EXPECT_EQ(rows[1].toldMilliAmpere, 8000U);
  EXPECT_FALSE(rows[1].isPhaseDiscovery);
  EXPECT_EQ(rows[1].drawnMilliAmpere, (std::array<std::uint32_t, 3>{9000, 0, 10}));
  EXPECT_EQ(rows[1].report, 0x81);
  EXPECT_EQ(rows[1].fallbackMilliAmpere, 6000U);
  EXPECT_LE(rows[1].heardAgo, 2s);
}

TEST_P(ScriptedLeaderTest, FallsSilentForOneOrAll) {
  Lead(R"({"at": "00:00:10", "station": "12-34-ABC-DE3", "silent": true},
          {"at": "00:00:30", "silent": true}, {"at": "00:00:50", "silent": false})");
  mScheduler.RunFor(25s);
  EXPECT_EQ(mLimits, (Limits{16, 16, 6, 16}));
  EXPECT_EQ(Seen(), (States{EState::Led, EState::Led, EState::LeftAlone, EState::Led}));
  mScheduler.RunFor(20s);
  EXPECT_THAT(mLimits, Each(6));
  EXPECT_THAT(Seen(), Each(EState::LeftAlone));
  mScheduler.RunFor(10s);
  EXPECT_THAT(mLimits, Each(16));
  EXPECT_THAT(Seen(), Each(EState::Led));
}

TEST_P(ScriptedLeaderTest, TellsWhoHasFallenSilentAndLeadsItWhenItIsBack) {
  Split({{kLeader, 2, 3, 4}});
  Lead("");
  mScheduler.RunFor(10s);
  auto expected = IsLine() ? States(4, EState::Led) : States(3, EState::Led);
  if (IsLine()) expected[0] = EState::Missing;
  EXPECT_EQ(Seen(), expected);
  Split({});
  mScheduler.RunFor(10s);
  EXPECT_EQ(Seen(), States(4, EState::Led));
  // As long as an endpoint lives, shorter, and much longer.
  for (const Milliseconds absence : {10000ms, 9000ms, 60000ms}) {
    Split({{kLeader, 1, 2, 4}});
    mScheduler.RunFor(absence);
    EXPECT_EQ(mLimits, (Limits{16, 16, 6, 16}));
    EXPECT_EQ(Seen(), (States{EState::Led, EState::Led, EState::Silent, EState::Led}));
    EXPECT_GT(mLeader->Rows()[2].heardAgo, absence - 3s);
    Split({});
    mScheduler.RunFor(13s);
    EXPECT_THAT(mLimits, Each(16));
    EXPECT_EQ(Seen(), States(4, EState::Led));
  }
}

TEST_P(ScriptedLeaderTest, LeadsThroughLossesAndReplacesALeaderThatWasThereBefore) {
  Lead("");
  mMedium.SetFaults(
      {.shortestDelay = 1ms, .longestDelay = 40ms, .loss = 50, .duplication = 50, .corruption = 20});
  mBus.SetFaults({.loss = 20, .corruption = 20});
  int unled = 0;
  for (int second = 0; second < 600; ++second) {
    mScheduler.RunFor(1s);
    for (const int limit : mLimits) unled += limit != 16;
  }
  EXPECT_LT(unled, 4 * 600 / 50);
  mMedium.SetFaults({});
  mBus.SetFaults({});
  mLeader->Stop();
  mScheduler.RunFor(20s);
  EXPECT_THAT(mLimits, Each(6));
  if (IsLine()) return;
  mLeader.emplace(mScheduler, Attach(kLeader + 1), Parser(kLeader + 1),
                  CScriptedLeader::SSettings{.milliAmpere = 12000});
  EXPECT_TRUE(mLeader->Start());
  mScheduler.RunFor(5s);
  EXPECT_THAT(mLimits, Each(12));
}

TEST(LeaderScript, SaysWhatIsWrongAndWhere) {
  const auto problemOf = [](const std::string& text) -> std::string {
    try {
      ReadLeaderScript("s.json", text);
    } catch (const CFileError& error) {
      return error.what();
    }
    return "none";
  };
  EXPECT_EQ(problemOf(R"({"orders": [{"at": "00:00:01", "station": "12-34-abc-de1"}]})"),
            R"(s.json:1:32: "station" must be a serial number such as "12-34-ABC-DE1")");
  EXPECT_EQ(problemOf(R"({"repeat": "00:00:05", "orders": [{"at": "00:00:05"}]})"),
            R"(s.json:1:36: "at" must be earlier than "repeat")");
}

}  // namespace
