#include "src/components/measurementsources/p1extender.h"

#include <utility>
#include <vector>

#include "platform/log/log.h"

namespace {

constexpr auto kClassName = "CP1Extender";
/// Bytes: more than the longest telegram of most meters.
constexpr std::size_t kMostUnframed = 4096;

}  // namespace

CP1Extender::CP1Extender(IScheduler& scheduler, std::shared_ptr<ICommunicationListener> line,
                         std::unique_ptr<IP1Parser> parser, std::string label, const SPeriods& periods)
    : CMeterSource(scheduler, kClassName, std::move(label), periods),
      mLine(std::move(line)),
      mParser(std::move(parser)),
      mFraming([this](std::span<const std::uint8_t> telegram) { HandleTelegram(telegram); },
               [this] { HandleEndlessTelegram(); }) {
  LOG_ENTRY(kClassName);
  mLine->SetDataReceivedHandler([this](const std::shared_ptr<ICommunicationListener::IEndpoint>& endpoint) {
    Receive(endpoint->GetReceiveBuffer());
  });
}

CP1Extender::~CP1Extender() {
  LOG_ENTRY(kClassName);
  CP1Extender::DeInit();
  mLine->SetDataReceivedHandler({});
}

bool CP1Extender::Init() {
  LOG_ENTRY(kClassName);
  Worker().Start();
  bool isStarted = false;
  Worker().BlockingCall([this, &isStarted] {
    Expect();
    mBackOff.Reset();
    isStarted = StartLine();
  });
  return isStarted;
}

void CP1Extender::DeInit() {
  LOG_ENTRY(kClassName);
  CMeterSource::DeInit();
  mNextAttempt.Cancel();
  mLine->Stop();
  mFraming.Clear();
}

bool CP1Extender::StartLine() {
  mNextAttempt.Cancel();
  if (mLine->Start()) return true;
  Fail("there is no serial line to it");
  mNextAttempt = Worker().AddCall([this] { StartLine(); }, mBackOff.Next());
  return false;
}

void CP1Extender::DumpLastReceivedData() {
  LOG_ENTRY(kClassName);
  mParser->DumpLastReceivedData();
}

void CP1Extender::Receive(std::vector<std::uint8_t>& data) {
  mFraming.Feed(data);
  mUnframed += data.size();
  data.clear();
  if (mUnframed <= kMostUnframed) return;
  mUnframed = 0;
  Worker().NonBlockingCall(
      [this] { Reject("what arrives holds no telegrams, is its line at 115200 baud, 8N1?"); });
}

void CP1Extender::HandleTelegram(std::span<const std::uint8_t> telegram) {
  mUnframed = 0;
  const SP1Output output = mParser->Parse(telegram.data(), telegram.size());
  if (output.success) mIsEndlessTold = false;
  Worker().NonBlockingCall([this, output] {
    if (output.success) {
      Accept(output);
    } else {
      Reject("its telegrams are damaged");
    }
  });
}

void CP1Extender::HandleEndlessTelegram() {
  if (!std::exchange(mIsEndlessTold, true)) {
    LOG_WARNING("A telegram that does not end within {} bytes is dropped", CP1Framing::kLongestTelegram);
  }
  Worker().NonBlockingCall([this] { Reject("its telegrams do not end"); });
}
