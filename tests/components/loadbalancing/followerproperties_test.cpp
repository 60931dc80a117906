#include <map>
#include <set>

#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "platform/utility/littleendian.h"
#include "support/groupmember.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Endpoint = ICommunicationListener::IEndpoint;

constexpr MediumStation kLeader = 1;
constexpr MediumStation kFollower = 2;
constexpr LbSerialNumber kOwn{0x0c, 0x22, 0xc9, 0x21, 0x2d, 0x25};
constexpr LbSerialNumber kForeign{0x0c, 0x22, 0xca, 0x21, 0x2d, 0x25};

/// What leader and follower said, by the packets that they made of it.
struct SSaid {
  SLbMessage message{};
  std::optional<std::uint32_t> sequence = {};
  bool isAnswer = false;  ///< has the number of what it answers
};
using Record = std::map<Bytes, SSaid>;

/// A follower's rules once more, for one that hears certain datagrams at certain times.
class CReference {
 public:
  CReference(const CVirtualScheduler& scheduler, const Record& record) : mClock(scheduler), mRecord(record) {}

  std::uint32_t mFallback = 6000;  ///< mA, in the settings

  void Enable() { Apply(mKnownFallback = mFallback); }
  /// What has happened by now for want of messages. Two things at one moment have no order: then it gives up.
  void Pass() {
    if (mTimeout && mClock.Now() >= *mTimeout) {
      mIsClear = mIsClear && mClock.Now() != *mTimeout;
      mTimeout.reset();
      Apply(mKnownFallback);
    }
    std::erase_if(mPeers, [this](const auto& peer) {
      mIsClear = mIsClear && mClock.Now() != peer.second.forgotten;
      return mClock.Now() >= peer.second.forgotten;
    });
  }
  void Hear(const SUdpAddress& from, const Bytes& datagram) {
    Pass();
    SPeer& peer = mPeers.try_emplace(from, SPeer{mClock.Now() + kLifetime, {}}).first->second;
    const auto said = mRecord.find(datagram);
    if (said == mRecord.end()) return;  // nobody of the group has made it
    const auto& [message, sequence, isAnswer] = said->second;
    if (isAnswer && peer.sequence && *sequence != *peer.sequence) return;
    if (!isAnswer && sequence && peer.sequence && *sequence - *peer.sequence - 1U > 9U) return;
    if (!mHeard.insert(datagram).second) return;  // a replay
    peer.forgotten = mClock.Now() + kLifetime;
    if (sequence) peer.sequence = sequence;
    Obey(message.bytes);
  }

  /// The first number for a peer is drawn for the answer to its discovery.
  void Answer(const SUdpAddress& to, const SSaid& answer) {
    const auto peer = mPeers.find(to);
    if (peer != mPeers.end() && !peer->second.sequence) peer->second.sequence = answer.sequence;
  }

  std::vector<float> mApplied;  ///< A
  bool mIsClear = true;

 private:
  static constexpr Milliseconds kLifetime{10000};
  struct SPeer {
    TimePoint forgotten;
    std::optional<std::uint32_t> sequence;
  };

  void Apply(std::uint32_t milliAmpere) { mApplied.push_back(static_cast<float>(milliAmpere) / 1000); }
  void Reset() {
    mTimeout.reset();
    Apply(0);
    Apply(mKnownFallback = mFallback);
  }
  void Obey(const std::array<std::uint8_t, 21>& message) {
    if (mKnownFallback != mFallback || message[0] == 0x11) return Reset();
    if (message[0] != 0x88 || !std::equal(kOwn.begin(), kOwn.end(), message.begin() + 1)) return;
    const std::uint32_t limit = LittleEndian::Read32(std::span(message).subspan<7, 4>());
    Apply(limit == 0 && (message[11] & 1U) != 0 ? 10000 : limit);
    mTimeout = mClock.Now() + Milliseconds{8000};
  }

  const CVirtualScheduler& mClock;
  const Record& mRecord;
  std::uint32_t mKnownFallback = 0;
  std::optional<TimePoint> mTimeout;
  std::map<SUdpAddress, SPeer> mPeers;
  std::set<Bytes> mHeard;
};

/// A follower, a leader that says whatever it likes, and somebody on the same link who is in no group.
class CTrial {
 public:
  explicit CTrial(std::uint64_t seed)
      : mRandom(seed),
        mMedium(mScheduler, seed + 1),
        mLeader(GroupMember::Network(mScheduler, mMedium, kLeader, seed + 2)),
        mLeadersParser(GroupMember::Parser(seed + 3)),
        mForgersParser(GroupMember::Parser(seed + 4, "let me in")),
        mFollower(mScheduler, GroupMember::Network(mScheduler, mMedium, kFollower, seed + 5),
                  GroupMember::Parser(seed + 6)) {
    mMedium.SetTap([this](const auto& datagram) { Watch(datagram); });
    mMedium.SetArrivalTap([this](MediumStation to, const auto& datagram) {
      if (to == kFollower && !datagram.data.empty()) mReference.Hear(datagram.from, datagram.data);
    });
    mLeader->SetDataReceivedHandler([this](const std::shared_ptr<Endpoint>& endpoint) {
      mLeadersParser->Parse(endpoint);
      mFollowerSeen = endpoint;
    });
    mLeader->Start();
    mFollower.mProtocol->Enable();
    mReference.Enable();
  }

  /// Nothing: all is as it must be.
  std::string Play(int steps) {
    for (int step = 0; step < steps && mReference.mIsClear; ++step) {
      const auto what = mRandom.Below(12);
      Act(what);
      mScheduler.RunFor(Pause());
      mReference.Pass();
      if (mReference.mIsClear && mFollower.mLimits != mReference.mApplied)
        return fmt::format("step {} ({}): applied {}, expected {}", step, what,
                           fmt::join(mFollower.mLimits, " "), fmt::join(mReference.mApplied, " "));
    }
    return {};
  }
  std::size_t Applied() const { return mFollower.mLimits.size(); }

 private:
  Milliseconds Pause() {
    if (mRandom.Chance(1, 20)) return mRandom.Between(Milliseconds{7000}, Milliseconds{15000});
    return mRandom.Between(Milliseconds{0}, Milliseconds{2500});
  }

  void Act(std::uint64_t what) {
    const LbSerialNumber& to = mRandom.Chance(1, 8) ? kForeign : kOwn;
    switch (what) {
      case 0:
        return Say(LbMessages::Reset(), false);
      case 1:
      case 2:
        return Say(LbMessages::Write(LbMessages::SDiscovery{
                       .prefix = to, .prefixBits = static_cast<std::uint8_t>(mRandom.Below(50))}),
                   false);
      case 3:
        return Say(LbMessages::FallbackRequest(to), true);
      case 4:
        return Spoil();
      case 5:
        return Replay();
      case 6:
        return Forge();
      case 7:
        if (!mRandom.Chance(1, 6)) return;
        mReference.mFallback = static_cast<std::uint32_t>(mRandom.Between(5, 8)) * 1000;
        return mFollower.mSettings->Set("GroupLoadBalancingFallbackCurrent", mReference.mFallback / 1000);
      default:
        return Say(LbMessages::Write(LbMessages::SLimitRequest{
                       .serialNumber = to,
                       .milliAmpere = static_cast<std::uint32_t>(mRandom.Below(4)) * 8000,
                       .flags = static_cast<std::uint8_t>(mRandom.Below(3))}),
                   true);
    }
  }

  /// The number of an answer stands behind its enciphered body, in the clear.
  void Watch(const CMulticastMedium::SDatagram& datagram) {
    mSeen.push_back(datagram);
    const Bytes& packet = datagram.data;
    if (datagram.from != CMulticastMedium::AddressOf(kFollower, CLoadBalancing::kPort)) return;
    SSaid said{.isAnswer = true};
    said.message.bytes.front() = packet.front();
    said.sequence =
        LittleEndian::Read32(std::span(packet).subspan(packet.front() == 0x99 ? 33 : 17).first<4>());
    mRecord[packet] = said;
    mReference.Answer(datagram.to, said);
  }

  void Say(const SLbMessage& message, bool isRequest) {
    if (isRequest && !mFollowerSeen) return;
    const Bytes packet = mLeadersParser->Serialize(message, isRequest ? mFollowerSeen.get() : nullptr);
    mRecord[packet] = {message, isRequest ? mFollowerSeen->GetMetadata(false) : std::nullopt};
    isRequest ? mFollowerSeen->SendData(packet) : mLeader->BroadcastData(packet);
  }

  void Spoil() {
    const auto rate = [this](std::uint32_t most) { return mRandom.Chance(1, 2) ? 0 : most; };
    mMedium.SetFaults({.shortestDelay = Milliseconds{1},
                       .longestDelay = Milliseconds{mRandom.Chance(1, 3) ? 4000 : 5},
                       .loss = rate(300),
                       .duplication = rate(300),
                       .corruption = rate(200),
                       .truncation = rate(200)});
    mMedium.Split(mRandom.Chance(1, 6) ? CHearing::Parts{{kLeader}, {kFollower}} : CHearing::Parts{});
  }

  SUdpAddress Anywhere() {
    return CMulticastMedium::AddressOf(mRandom.Chance(1, 2) ? kLeader : 9,
                                       mRandom.Chance(1, 2) ? CLoadBalancing::kPort : 4711);
  }
  void Replay() {
    if (mSeen.empty()) return;
    Bytes data = mSeen.at(mRandom.Index(mSeen.size())).data;
    if (mRandom.Chance(1, 3)) data.at(mRandom.Index(data.size())) ^= 1U;
    mMedium.Inject(kFollower, CLoadBalancing::kPort, Anywhere(), data);
  }
  void Forge() {
    const auto message =
        LbMessages::Write(LbMessages::SLimitRequest{.serialNumber = kOwn, .milliAmpere = 32000});
    Bytes data = mForgersParser->Serialize(message, mFollowerSeen.get());
    if (data.empty() || mRandom.Chance(1, 2)) {
      data.assign(mRandom.Index(80), 0);
      CSeededRandom(mRandom.Below(1000)).GenerateBlock(data);
      if (!data.empty()) data.front() = mRandom.Chance(1, 2) ? 0x88 : 0x99;
    }
    mMedium.Inject(kFollower, CLoadBalancing::kPort, Anywhere(), data);
  }

  CVirtualScheduler mScheduler;
  CRandom mRandom;
  CMulticastMedium mMedium;
  Record mRecord;
  CReference mReference{mScheduler, mRecord};
  std::vector<CMulticastMedium::SDatagram> mSeen;
  const std::shared_ptr<CEthernetCommunication> mLeader;
  const std::unique_ptr<CLbEncryptedPacketParser> mLeadersParser;
  const std::unique_ptr<CLbEncryptedPacketParser> mForgersParser;
  std::shared_ptr<Endpoint> mFollowerSeen;  ///< as the leader knows it
  GroupMember::CFollower mFollower;
};

TEST(FollowerProperties, OnlyWhatTheLeaderSaidAndSilenceDecide) {
  std::size_t applied = 0;
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    const CLogCapture log(Log::ELogLevel::Error);
    CTrial trial(seed * 100);
    ASSERT_EQ(trial.Play(150), "") << "seed " << seed;
    applied += trial.Applied();
  }
  EXPECT_GT(applied, 1500U) << "or the trials show nothing";
}

}  // namespace
