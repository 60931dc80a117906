#include "simulation/scriptedleader.h"

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "simulation/rs485bus.h"
#include "simulation/strictjson.h"
#include "support/groupmember.h"

namespace {

using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;
using testing::ThrowsMessage;
using EState = CScriptedLeader::EState;

constexpr MediumStation kLeader = 100;

std::string SerialNumber(MediumStation station) {
  return fmt::format("12-34-ABC-DE{}", station);
}

/// A leader of four followers, on whichever medium.
class ScriptedLeaderTest : public testing::TestWithParam<CScriptedLeader::EMedium> {
 protected:
  static constexpr MediumStation kFollowers = 4;

  bool IsLine() const { return GetParam() == CScriptedLeader::EMedium::Line; }
  std::shared_ptr<ICommunicationListener> Attach(MediumStation station) {
    if (IsLine()) return mBus.Attach(station);
    return GroupMember::Network(mScheduler, mMedium, station, station);
  }
  std::unique_ptr<ILbPacketParser> Parser(MediumStation station) const {
    if (IsLine()) return std::make_unique<CLbPacketParser>();
    return GroupMember::Parser(station + 1000);
  }
  void Lead(const std::string& orders) {
    for (MediumStation station = 1; station <= kFollowers; ++station) {
      auto& follower = mFollowers.emplace_back(std::make_unique<GroupMember::CFollower>(
          mScheduler, Attach(station), Parser(station), SerialNumber(station)));
      follower->mMeter = SStationMeterData{.milliAmpere = {9000, 0, 10}};
      follower->mProtocol->Enable();
    }
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
  /// What holds at each, in A.
  std::vector<float> Limits() const {
    std::vector<float> limits;
    for (const auto& follower : mFollowers) limits.push_back(follower->mLimits.back());
    return limits;
  }

  CLogCapture mLog{Log::ELogLevel::Warning};
  CVirtualScheduler mScheduler;
  CMulticastMedium mMedium{mScheduler, 1};
  CRs485Bus mBus{mScheduler, 1};
  std::vector<std::unique_ptr<GroupMember::CFollower>> mFollowers;
  std::optional<CScriptedLeader> mLeader;
};

INSTANTIATE_TEST_SUITE_P(Media, ScriptedLeaderTest,
                         testing::Values(CScriptedLeader::EMedium::Network, CScriptedLeader::EMedium::Line));

TEST_P(ScriptedLeaderTest, FindsStationsAndTellsThemWhatItsScriptSays) {
  Lead(R"({"at": "00:00:10", "station": "12-34-ABC-DE2", "milliampere": 0, "phase-discovery": true},
          {"at": "00:00:20", "milliampere": 8000, "phase-discovery": false})");
  EXPECT_THAT(Limits(), Each(6));
  mScheduler.RunFor(4s);
  EXPECT_THAT(Limits(), Each(16));
  mScheduler.RunFor(8s);
  EXPECT_THAT(Limits(), ElementsAre(16, 10, 16, 16));
  mScheduler.RunFor(10s);
  EXPECT_THAT(Limits(), Each(8));
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
  EXPECT_THAT(Limits(), ElementsAre(16, 16, 6, 16));
  EXPECT_EQ(Seen(), (States{EState::Led, EState::Led, EState::LeftAlone, EState::Led}));
  mScheduler.RunFor(20s);
  EXPECT_THAT(Limits(), Each(6));
  EXPECT_THAT(Seen(), Each(EState::LeftAlone));
  mScheduler.RunFor(10s);
  EXPECT_THAT(Limits(), Each(16));
  EXPECT_THAT(Seen(), Each(EState::Led));
}

TEST_P(ScriptedLeaderTest, TellsWhoHasFallenSilentAndLeadsThroughLossesAndAfterAnother) {
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
    EXPECT_THAT(Limits(), ElementsAre(16, 16, 6, 16));
    EXPECT_EQ(Seen(), (States{EState::Led, EState::Led, EState::Silent, EState::Led}));
    EXPECT_GT(mLeader->Rows()[2].heardAgo, absence - 3s);
    Split({});
    mScheduler.RunFor(13s);
    EXPECT_THAT(Limits(), Each(16));
    EXPECT_EQ(Seen(), States(4, EState::Led));
  }

  mMedium.SetFaults(
      {.shortestDelay = 1ms, .longestDelay = 40ms, .loss = 50, .duplication = 50, .corruption = 20});
  mBus.SetFaults({.loss = 20, .corruption = 20});
  int unled = 0;
  for (int second = 0; second < 600; ++second) {
    mScheduler.RunFor(1s);
    for (const float limit : Limits()) unled += limit != 16;
  }
  EXPECT_LT(unled, 4 * 600 / 50);
  mMedium.SetFaults({});
  mBus.SetFaults({});
  mLeader->Stop();
  if (IsLine()) return;
  mLeader.emplace(mScheduler, Attach(kLeader + 1), Parser(kLeader + 1),
                  CScriptedLeader::SSettings{.milliAmpere = 12000});
  EXPECT_TRUE(mLeader->Start());
  mScheduler.RunFor(5s);
  EXPECT_THAT(Limits(), Each(12));
}

TEST(LeaderScript, SaysWhatIsWrongAndWhere) {
  for (const auto& [text, problem] :
       {std::pair{R"({"orders": [{"at": "00:00:01", "station": "12-34-abc-de1"}]})",
                  R"(s.json:1:32: "station" must be a serial number such as "12-34-ABC-DE1")"},
        {R"({"repeat": "00:00:05", "orders": [{"at": "00:00:05"}]})",
         R"(s.json:1:36: "at" must be earlier than "repeat")"}}) {
    EXPECT_THAT([&text = text] { ReadLeaderScript("s.json", text); }, ThrowsMessage<CFileError>(problem));
  }
}

}  // namespace
