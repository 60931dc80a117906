#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/logcapture.h"
#include "platform/worker/realscheduler.h"
#include "platform/worker/virtualscheduler.h"

namespace {

using namespace std::chrono_literals;
using EKind = CSignalDefinition::EKind;
using ::testing::ElementsAre;

/// The peer: what it received, as "name=value", and how it takes it.
struct SPeer {
  Rpc::EStatus status = Rpc::EStatus::Ok;
  ipc::MResult answer;
  std::function<void()> duringCall = [] {};
  int calls = 0;
  std::vector<std::string> received;
};

class CPeerChannel final : public Rpc::IChannel {
 public:
  explicit CPeerChannel(SPeer& peer) : mPeer(peer) {}

  SAnswer Call(std::string_view path, std::string_view request, Milliseconds /*timeout*/) override {
    EXPECT_EQ(path, "/ipc.Diagnostics/Report");
    ++mPeer.calls;
    mPeer.duringCall();
    ipc::MDiagnosticsSignal signal;
    EXPECT_TRUE(signal.ParseFromString(std::string(request)));
    std::string text =
        signal.name() + '=' + signal.text() + signal.event() + (signal.boolean() ? "true" : "");
    for (const float value : signal.floats().values()) text += std::to_string(std::lround(value)) + ' ';
    if (mPeer.status == Rpc::EStatus::Ok) mPeer.received.push_back(text);
    return {mPeer.status, "", mPeer.answer.SerializeAsString()};
  }
  std::unique_ptr<ISubscription> Subscribe(std::string_view, std::string, SSubscriber) override { return {}; }

 private:
  SPeer& mPeer;
};

template <class TScheduler>
class CDiagnosticsTestOn : public ::testing::Test {
 protected:
  CLogCapture mCapture;
  SPeer mPeer;
  TScheduler mScheduler;
  std::shared_ptr<CDiagnosticsCommClient> mClient = std::make_shared<CDiagnosticsCommClient>(
      mScheduler, std::make_shared<Rpc::CClient>("Diagnostics", std::make_unique<CPeerChannel>(mPeer)));
  CDiagnosticsSignal mAway{{1, "away", EKind::Boolean}, mClient};
  CDiagnosticsSignal mRole{{2, "role", EKind::Text}, mClient};
  CDiagnosticsSignal mCurrents{{3, "currents", EKind::Floats}, mClient};
  CDiagnosticsSignal mChanged{{4, "changed", EKind::Event}, mClient};
};
using CDiagnosticsTest = CDiagnosticsTestOn<CVirtualScheduler>;
using CDiagnosticsThreadsTest = CDiagnosticsTestOn<CRealScheduler>;

TEST_F(CDiagnosticsTest, EveryKindArrivesOnceAndTextsAlwaysReadable) {
  mAway.Send(true);
  mCurrents.Send(std::array{16.F, 0.F, -3.F});
  mClient->Start();
  mScheduler.RunDue();
  mRole.SendText("gr\xC3\xBC\xC3n \xED\xA0\x80 \xF0\x9F\x94\x8C \xE2\x82");
  mChanged.SendEvent("a");
  mChanged.SendEvent("a");
  mRole.Send(true);
  mScheduler.RunFor(1h);
  EXPECT_THAT(mPeer.received,
              ElementsAre("away=true", "currents=16 0 -3 ", "role=gr\xC3\xBC?n ??? \xF0\x9F\x94\x8C ??",
                          "changed=a", "changed=a"));
  EXPECT_THAT(mCapture.Texts(Log::ELogLevel::Error),
              ElementsAre("Diagnostics signal 2 \"role\": kind text expected, boolean given; not sent"));
}

TEST_F(CDiagnosticsTest, AbsentPeerGetsNewestValuesAndNewestEventsWhenItIsBack) {
  mClient->Start();
  mPeer.status = Rpc::EStatus::Unreachable;
  mRole.SendText("leader");
  mScheduler.RunFor(10s);
  EXPECT_EQ(mPeer.calls, 9);  // at 0, 0.1, 0.3, 0.7, 1.5, 3.1 and then every 2 seconds
  for (int number = 0; number < 300; ++number) mChanged.SendEvent(std::to_string(number));
  mRole.SendText("follower");
  mPeer.duringCall = [this] {  // answers three reports, fails one
    mPeer.status = mPeer.calls % 4 == 0 ? Rpc::EStatus::Failed : Rpc::EStatus::Ok;
  };
  mScheduler.RunFor(1min);
  ASSERT_EQ(mPeer.received.size(), 257U);
  EXPECT_EQ(mPeer.received[0], "role=follower");
  for (std::size_t index = 1; index < 257; ++index) {
    EXPECT_EQ(mPeer.received[index], "changed=" + std::to_string(index + 43));
  }
  EXPECT_EQ(mCapture.Count("Diagnostics: 256 events wait for the peer; from now on the oldest are dropped"),
            1);
}

TEST_F(CDiagnosticsTest, RefusedReportIsDoneAndStoppedClientKeepsTheRest) {
  mClient->Start();
  mPeer.answer.set_code(1);
  mChanged.SendEvent("a");
  mChanged.SendEvent("b");
  mScheduler.RunDue();
  mClient->Stop();
  mChanged.SendEvent("c");
  mScheduler.RunFor(1h);
  EXPECT_THAT(mPeer.received, ElementsAre("changed=a", "changed=b"));
  EXPECT_THAT(mCapture.Texts(Log::ELogLevel::Warning),
              ElementsAre("Diagnostics: the peer refuses signal 4 \"changed\" with answer 1"));
  mClient->Start();
  mScheduler.RunDue();
  EXPECT_EQ(mPeer.received.back(), "changed=c");
}

TEST_F(CDiagnosticsTest, ReducedListIsSentWhenItMovedOrTimePassed) {
  mClient->Start();
  mCurrents.Reduce(300s, {10, 100});
  const auto isSent = [this](std::vector<float> values) {
    const int before = mPeer.calls;
    mCurrents.Send(values);
    mScheduler.RunDue();
    return mPeer.calls > before;
  };
  EXPECT_TRUE(isSent({}));
  EXPECT_TRUE(isSent({0, 0, 0}));
  EXPECT_FALSE(isSent({6, 99, -99}));
  EXPECT_TRUE(isSent({-10, 99, -99}));  // each is compared with what was sent, not with what was offered
  EXPECT_TRUE(isSent({NAN, 99, 1}));
  mScheduler.RunFor(299s);
  EXPECT_FALSE(isSent({NAN, 99, 1}));
  mScheduler.RunFor(1s);
  EXPECT_TRUE(isSent({NAN, 99, 1}));
}

TEST_F(CDiagnosticsThreadsTest, ReportingReturnsWhileThePeerHangsAndTheNewestIsSentAfterwards) {
  const auto called = mScheduler.CreateEvent();
  const auto reported = mScheduler.CreateEvent();
  const auto last = mScheduler.CreateEvent();
  mPeer.duringCall = [&] {
    called->Set();
    reported->Wait();
    if (mPeer.calls == 4) last->Set();
  };
  mClient->Start();
  mRole.SendText("0");
  called->Wait();
  std::thread other([this] { mChanged.SendEvent("b"); });
  mCurrents.Send(std::array{1.F});
  mRole.SendText("1");
  mRole.SendText("2");
  other.join();
  reported->Set();
  last->Wait();
  mClient->Stop();
  EXPECT_THAT(mPeer.received,
              ::testing::UnorderedElementsAre("role=0", "changed=b", "currents=1 ", "role=2"));
}

}  // namespace
