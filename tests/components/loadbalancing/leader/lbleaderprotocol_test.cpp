#include "src/components/loadbalancing/leader/lbleaderprotocol.h"

#include <deque>

#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "simulation/rs485bus.h"
#include "src/components/loadbalancing/leader/lbphaseimbalancealgorithm.h"
#include "src/components/loadbalancing/leader/lbreverseuniformalgorithm.h"
#include "support/groupmember.h"

namespace {

using namespace std::chrono_literals;
using GroupMember::CFollower;
using Limits = std::vector<float>;

/// A leader, station 1, and its followers on a network or a line. Their vehicles draw what they may, up to
/// what they want.
class CGroup {
 public:
  explicit CGroup(bool isLine, float supply = 32) : mIsLine(isLine) {
    mSettings->Set("GroupLoadBalancingMaxCurrent", supply);
    mSettings->Set("GroupLoadBalancingFallbackCurrent", 6);
    mSettings->Set("MainboardSn", "12-34-ABC-DE0");
    mLeader.emplace(
        CLbProtocolBase::SSurroundings{
            .scheduler = mScheduler,
            .phaseHandler = std::make_shared<GroupMember::SPhases>(),
            .config = std::make_shared<CLoadBalancingConfig>(mSettings, mSettings, mSettings),
            .communication = Medium(1),
            .parser = Parser(1),
            .setLimit = [this](float ampere) { mOwn = ampere; },
            .meter = [this] { return Drawn(mOwn, mOwnWish); }},
        CLbLeaderProtocol::SParts{.algorithm = std::make_shared<CLbReverseUniformAlgorithm>(
                                      std::make_shared<CLbPhaseImbalanceAlgorithm>(false, 0), nullptr),
                                  .blackoutProtection = nullptr,
                                  .powerLimitInput = nullptr,
                                  .period = 10s,
                                  .isLine = isLine});
    mLeader->Start();
    mLeader->Enable();
  }

  CFollower& Add(const std::string& serialNumber, float fallback = 6) {
    const auto number = static_cast<MediumStation>(mFollowers.size() + 2);
    CFollower& follower = mFollowers.emplace_back(mScheduler, Medium(number), Parser(number), serialNumber);
    follower.mSettings->Set("GroupLoadBalancingFallbackCurrent", fallback);
    follower.mProtocol->Enable();
    mWishes.push_back(32);
    return follower;
  }

  void RunFor(std::chrono::seconds span) {
    for (auto i = 0s; i < span; ++i) {
      for (std::size_t each = 0; each < mFollowers.size(); ++each) {
        mFollowers[each].mMeter = Drawn(mFollowers[each].mLimits.back(), mWishes[each]);
      }
      mScheduler.RunFor(1s);
    }
  }
  /// A, the leader's own first.
  Limits InForce() const {
    Limits limits{mOwn};
    for (const CFollower& follower : mFollowers) limits.push_back(follower.mLimits.back());
    return limits;
  }

  CVirtualScheduler mScheduler;
  CMulticastMedium mNetwork{mScheduler, 5};
  CRs485Bus mBus{mScheduler, 5};
  const std::shared_ptr<CMemoryConfig> mSettings = std::make_shared<CMemoryConfig>();
  float mOwn = 0;
  float mOwnWish = 32;
  std::deque<CFollower> mFollowers;
  std::vector<float> mWishes;
  std::optional<CLbLeaderProtocol> mLeader;

 private:
  static SStationMeterData Drawn(float limit, float wish) {
    const float drawn = limit < 6 ? 0 : std::min(limit, wish);
    const auto milliAmpere = static_cast<std::int32_t>(drawn * 1000);
    return {.milliAmpere = {milliAmpere, milliAmpere, milliAmpere}};
  }
  std::shared_ptr<ICommunicationListener> Medium(MediumStation station) {
    if (mIsLine) return mBus.Attach(station);
    return GroupMember::Network(mScheduler, mNetwork, station, station);
  }
  std::unique_ptr<ILbPacketParser> Parser(std::uint64_t seed) const {
    if (mIsLine) return std::make_unique<CLbPacketParser>();
    return GroupMember::Parser(seed);
  }

  const bool mIsLine;
};

/// A station of another make, which answers as it likes.
class CStranger {
 public:
  using Answer = std::function<std::optional<SLbMessage>(ELbMessage asked)>;

  CStranger(CGroup& group, MediumStation station, Answer answer)
      : mCommunication(GroupMember::Network(group.mScheduler, group.mNetwork, station, station)),
        mParser(GroupMember::Parser(station)) {
    mParser->SetMessageHandler([this, answer = std::move(answer)](const auto& message, const auto& leader) {
      if (const auto said = answer(ELbMessage{message.Id()}))
        leader->SendData(mParser->Serialize(*said, leader.get()));
    });
    mCommunication->SetDataReceivedHandler([this](const auto& leader) { mParser->Parse(leader); });
    mCommunication->Start();
  }
  ~CStranger() { mCommunication->Stop(); }

  /// One that says who it is, what it falls back to and what it draws, in mA.
  static Answer Usual(const char* serialNumber, std::uint32_t fallback, std::uint32_t drawn,
                      std::uint8_t version = 3) {
    const LbSerialNumber own = *ToLbSerialNumber(serialNumber);
    return [=, isLed = false](ELbMessage asked) mutable -> std::optional<SLbMessage> {
      isLed = isLed || asked == ELbMessage::LimitRequest;
      switch (asked) {
        case ELbMessage::Discovery:
          return isLed ? std::nullopt : std::optional(LbMessages::DiscoveryAnswer(own));
        case ELbMessage::InfoRequest: {
          SLbMessage info = LbMessages::InfoAnswer(own);
          info.bytes[7] = version;
          return info;
        }
        case ELbMessage::FallbackRequest:
          return LbMessages::FallbackAnswer(own, fallback);
        case ELbMessage::LimitRequest:
          return LbMessages::Write(
              LbMessages::SLimitAnswer{.serialNumber = own, .load = {.milliAmpere = {drawn, drawn, drawn}}});
        default:
          return std::nullopt;
      }
    };
  }

 private:
  const std::shared_ptr<ICommunicationListener> mCommunication;
  const std::unique_ptr<CLbEncryptedPacketParser> mParser;
};

TEST(LbLeaderProtocol, TellsOnceWhoIsNoGoodAndKeepsWhatItMayDraw) {
  const struct {
    CStranger::Answer stranger;
    const char* warning;
    float own;  ///< what is left for the leader, in A
  } kRows[] = {
      {CStranger::Usual("98-76-ZZZ-ZZZ", 6000, 0, 4),
       "Station 98-76-ZZZ-ZZZ speaks version 4 of the group's language, and not 3: it is not led, and 6 A "
       "are kept "
       "for it",
       26},
      {CStranger::Usual("98-76-ZZZ-ZZZ", 20000, 25000),
       "Station 98-76-ZZZ-ZZZ draws 25 A where it may draw 20 A: what it draws is kept for it", 7},
      {CStranger::Usual("98-76-ZZZ-ZZZ", 6000, 4000000),
       "Station 98-76-ZZZ-ZZZ says that it draws more than any station can: it counts with all that it may "
       "draw",
       16},
      {CStranger::Usual("98-76-ZZZ-ZZZ", 4000000000, 0),
       "Station 98-76-ZZZ-ZZZ says that it falls back to 4000000 A, which no station can have: it counts "
       "with 100 A",
       26},
      {CStranger::Usual("12-34-ABC-DE0", 6000, 0),
       "fe80::2%2:23068 has this station's own MainboardSn, and is not led", 32},
  };
  for (const auto& row : kRows) {
    const CLogCapture log;
    CGroup group(false);
    const CStranger stranger(group, 2, row.stranger);
    group.RunFor(180s);
    EXPECT_EQ(log.Count(row.warning), 1);
    EXPECT_EQ(group.mOwn, row.own) << row.warning;
  }
}

TEST(LbLeaderProtocol, FindsTheOthersAndSharesOut) {
  for (const bool isLine : {false, true}) {
    CGroup group(isLine);
    group.Add("12-34-ABC-DE1");
    group.Add("98-76-ZZZ-ZZZ");
    group.RunFor(10s);
    EXPECT_EQ(group.InForce(), (Limits{0, 6, 6})) << "at first nobody gets more than its fallback";
    group.RunFor(60s);
    EXPECT_EQ(group.InForce(), (Limits{10.6F, 10.6F, 10.6F})) << isLine;
    group.mWishes[1] = 8;
    group.RunFor(90s);
    EXPECT_EQ(group.InForce(), (Limits{11.5F, 11.5F, 9})) << "what is not used";
  }
}

}  // namespace
