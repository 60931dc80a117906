#include "src/components/loadbalancing/lbfollowerprotocol.h"

#include <iterator>
#include <tuple>

#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "support/bytesof.h"
#include "support/groupmember.h"
#include "support/scriptedpeer.h"

namespace {

using Limits = std::vector<float>;

/// What a leader says to 12-34-ABC-DE1, and what that one answers.
constexpr auto kReset = "11e4";
constexpr auto kEverybody = "22000000000000000300ad";
constexpr auto k16A = "880c22c9212d25803e00000057";
constexpr auto k0A = "880c22c9212d25000000000058";
constexpr auto kFindPhases = "880c22c9212d25000000000115";
constexpr auto kItsMe = "330c22c9212d251a";
constexpr auto kDrawsNothing = "990c22c9212d2500000000000000000000000081f7";
constexpr auto kDrawsItAll = "990c22c9212d25803e0000803e0000803e00008763";

/// A medium with one peer, or a whole line: what the peer says is given as hexadecimal digits.
struct SScriptedMedium final : ICommunicationListener {
  SScriptedMedium(bool isNetwork, bool isThere)
      : peer(std::make_shared<CScriptedPeer>(isNetwork)), isPresent(isThere) {}

  void Hear(std::string_view digits) {
    std::ranges::copy(BytesOf(digits), std::back_inserter(peer->mReceived));
    handler(peer);
  }
  std::string Told() { return std::exchange(peer->mTold, {}); }

  bool Start() override { return ++starts, isPresent; }
  void Stop() override {}
  bool BroadcastData(std::span<const std::uint8_t>) override { return false; }
  Milliseconds GetResponseTime(bool) const override { return Milliseconds{0}; }
  std::uint32_t GetCapacity() const override { return 0; }
  void SetDataReceivedHandler(DataReceivedHandler newHandler) override { handler = std::move(newHandler); }

  const std::shared_ptr<CScriptedPeer> peer;
  bool isPresent;
  DataReceivedHandler handler;
  int starts = 0;
};

/// A follower at a line or a network.
struct SAround {
  CVirtualScheduler mScheduler;
  const std::shared_ptr<SScriptedMedium> mMedium;
};
class CFollower : public SAround, public GroupMember::CFollower {
 public:
  explicit CFollower(bool isNetwork, const char* serialNumber = "12-34-ABC-DE1", bool isPresent = true)
      : SAround{{}, std::make_shared<SScriptedMedium>(isNetwork, isPresent)},
        GroupMember::CFollower(mScheduler, mMedium, std::make_unique<CLbPacketParser>(), serialNumber) {
    mSettings->Set("GroupLoadBalancingFallbackCurrent", 6.4F);
  }

  /// Says something and lets a while pass; the answer.
  std::string Say(std::string_view digits, Milliseconds span = Milliseconds{0}) {
    mMedium->Hear(digits);
    mScheduler.RunFor(span);
    return mMedium->Told();
  }
  /// A, in order, since the last time.
  Limits Applied() { return std::exchange(mLimits, {}); }
  std::vector<std::string> Signalled() {
    return mRecord.Take()[DiagnosticsSignals::kLoadBalancingUndiscovered.number];
  }
};

TEST(LbFollowerProtocol, JoinsObeysAndFallsBack) {
  const CLogCapture log;
  CFollower follower(true);
  EXPECT_EQ(log.Count("Using SN '12-34-ABC-DE1' (0c:22:c9:21:2d:25)"), 1);
  EXPECT_EQ(follower.Say(kEverybody), "") << "disabled";
  EXPECT_EQ(follower.Say(k16A), "");
  EXPECT_EQ(follower.Applied(), Limits{});

  follower.mProtocol->Enable();
  follower.mProtocol->Enable();
  EXPECT_EQ(follower.Applied(), Limits{6.4F});
  EXPECT_EQ(follower.Signalled(), std::vector<std::string>{"true"});
  EXPECT_EQ(follower.Say(kEverybody), kItsMe);
  EXPECT_EQ(log.Count("Received message with id 0x22 in state 1 from the peer"), 1);
  EXPECT_EQ(log.Count("Sending message of 8 bytes with id 0x33 to the peer"), 1);
  EXPECT_EQ(follower.Say("440c22c9212d2578"), "550c22c9212d250300f3");
  EXPECT_EQ(follower.Say("660c22c9212d2554"), "770c22c9212d250019000059");

  EXPECT_EQ(follower.Say(k16A), kDrawsNothing);
  EXPECT_EQ(follower.Say(kEverybody), "") << "it is found already";
  EXPECT_EQ(follower.Signalled(), std::vector<std::string>{"false"});
  EXPECT_EQ(follower.Say(k0A, Milliseconds{7999}), kDrawsNothing) << "and again";
  EXPECT_EQ(follower.Say(kFindPhases), kDrawsNothing);
  EXPECT_EQ(follower.mPhases->told, "0 find");
  EXPECT_EQ(follower.Say("880c22c9212d257017000001f4", Milliseconds{7999}), kDrawsNothing);
  EXPECT_EQ(follower.mPhases->told, "6000 find") << "which is not heeded there";
  EXPECT_EQ(follower.Applied(), (Limits{16.0F, 0.0F, 10.0F, 6.0F}));
  EXPECT_EQ(log.Count("Reached state discovered."), 1);

  follower.mScheduler.RunFor(Milliseconds{1});
  EXPECT_EQ(follower.Applied(), Limits{6.4F});
  EXPECT_EQ(log.Texts(Log::ELogLevel::Warning),
            std::vector<std::string>{"Communication timeout occurred, resetting to undiscovered."});
  EXPECT_EQ(follower.Signalled(), (std::vector<std::string>{"false", "false", "false", "true"}));
  follower.mScheduler.RunFor(Milliseconds{60000});
  EXPECT_EQ(follower.Applied(), Limits{}) << "a silence that lasts is no news";

  EXPECT_EQ(follower.Say(k16A), kDrawsNothing) << "found again without having been looked for";
  follower.mProtocol->Disable();
  follower.mScheduler.RunFor(Milliseconds{60000});
  EXPECT_EQ(follower.Applied(), (Limits{16.0F, 0.0F}));
  EXPECT_EQ(follower.Signalled(), (std::vector<std::string>{"false", "false"}));
  EXPECT_EQ(follower.mProtocol->GetLimit(), 0U);
}

TEST(LbFollowerProtocol, BeginsAnewWhenResetOrChanged) {
  for (const bool isDiscovered : {false, true}) {
    const CLogCapture log;
    CFollower follower(true);
    follower.mProtocol->Enable();
    if (isDiscovered) follower.Say(k16A);
    follower.Applied();
    EXPECT_EQ(follower.Say(kReset), "");
    EXPECT_EQ(follower.Applied(), (Limits{0.0F, 6.4F}));
    EXPECT_EQ(log.Count("Reset received from leader, transitioning to undiscovered."), 1);
    if (isDiscovered) follower.Say(k16A);
    follower.Applied();
    follower.mSettings->Set("GroupLoadBalancingFallbackCurrent", 8);
    EXPECT_EQ(follower.Say(k16A, Milliseconds{60000}), "") << "not processed";
    EXPECT_EQ(follower.Applied(), (Limits{0.0F, 8.0F}));
    EXPECT_EQ(log.Count("Fallback current changed from 6400 to 8000, resetting to undiscovered."), 1);
    EXPECT_EQ(log.Count("Communication timeout occurred, resetting to undiscovered."), 0);
    EXPECT_EQ(follower.Say("660c22c9212d2554"), "770c22c9212d25401f0000c9");
  }
}

TEST(LbFollowerProtocol, AnswersWhatItIsAskedAndNothingElse) {
  for (const auto& [heard, network, line] :
       {std::tuple{kEverybody, kItsMe, "33"},
        {"220c02000000000c0300a4", kItsMe, "33"},  // its first 12 bits
        {"220c22c9212d25c80307e9", kItsMe, "33"},  // bits beyond the last are 0 in both
        {"220c22ca212d25300300f0", "", ""},        // another one's
        {"2200000000000000020055", "", ""},        // another version
        {"440c22ca212d2510", "", ""},              // to another one
        {"880c22ca212d25803e000000df", "", ""},    //
        {"550c22ca212d250300cf", "", ""},          // what others answer
        {"880c22c9212d25ffffffff00c7", kDrawsNothing, kDrawsNothing}}) {
    CFollower onNetwork(true);
    CFollower onLine(false);
    CFollower nobody(true, "12-34-ABC-DE");
    for (CFollower* follower : {&onNetwork, &onLine, &nobody}) follower->mProtocol->Enable();
    EXPECT_EQ(onNetwork.Say(heard), network);
    EXPECT_EQ(onLine.Say(heard), line);
    EXPECT_EQ(nobody.Say(heard), "") << "nobody is addressed who has no serial number";
  }
}

TEST(LbFollowerProtocol, TellsTheLoadInTheOrderOfTheSupply) {
  const CLogCapture log;
  CFollower follower(true);
  follower.mProtocol->Enable();
  follower.mMeter = SStationMeterData{.milliAmpere = {11000, -40, 900}};
  for (const auto& [rotation, answer] : {std::pair{"RST", "990c22c9212d25f82a0000000000008403000081e9"},
                                         {"STR", "990c22c9212d2584030000f82a00000000000081f6"},
                                         {"SRS", "990c22c9212d25f82a0000000000008403000081e9"}}) {
    follower.mSettings->Set("PhaseRotation", rotation);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(follower.Say(k16A), answer) << rotation;
  }
  EXPECT_EQ(log.Count("Invalid value 'SRS' for PhaseRotation in settings.json. Defaulting to 'RST'."), 1);
}

TEST(LbFollowerProtocol, TellsTheMostThatMayBeDrawnWhileItsMeterIsSilent) {
  const CLogCapture log;
  CFollower follower(true);
  follower.mProtocol->Enable();
  for (int round = 1; round < 3; ++round) {
    follower.mMeter.reset();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(follower.Say(k16A), kDrawsItAll);
    EXPECT_EQ(follower.Say(k0A, Milliseconds{7000}), kDrawsItAll) << "it follows by and by";
    EXPECT_EQ(follower.Say(k0A, Milliseconds{3000}), kDrawsItAll);
    EXPECT_EQ(follower.Say(k0A), kDrawsNothing);
    follower.mMeter = SStationMeterData{};
    EXPECT_EQ(follower.Say(k16A), kDrawsNothing);
    EXPECT_EQ(log.Texts(Log::ELogLevel::Warning).size(), round);
  }
}

TEST(LbFollowerProtocol, WaitsForCommunicationAndBoundsItsQueue) {
  const CLogCapture log;
  CFollower follower(true, "12-34-ABC-DE1", false);
  follower.mProtocol->Enable();
  follower.mScheduler.RunFor(Milliseconds{1000 + 2000 + 4000 + 8000 + 16000 + 30000 + 30000});
  EXPECT_EQ(follower.mMedium->starts, 8);
  EXPECT_EQ(follower.Applied(), Limits{6.4F});
  follower.mMedium->isPresent = true;
  follower.mScheduler.RunFor(Milliseconds{300000});
  EXPECT_EQ(follower.mMedium->starts, 9);
  EXPECT_EQ(log.Count("Could not set up communication, failed to start load balancing"), 1);

  // What comes faster than it is handled is dropped; the next one is answered again.
  for (int i = 0; i < 1000; ++i) follower.mMedium->Hear(kEverybody);
  follower.mScheduler.RunDue();
  EXPECT_EQ(follower.mMedium->Told().size(), 256U * std::string_view(kItsMe).size());
  EXPECT_EQ(follower.Say(k16A), kDrawsNothing);
  EXPECT_EQ(log.Texts(Log::ELogLevel::Warning).size(), 1U);
}

}  // namespace
