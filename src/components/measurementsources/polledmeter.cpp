#include "src/components/measurementsources/polledmeter.h"

#include <utility>

#include "platform/log/log.h"

namespace {

constexpr auto kClassName = "CPolledMeter";

}  // namespace

CPolledMeter::CPolledMeter(IScheduler& scheduler, const std::string& name, std::string label,
                           const SPeriods& periods)
    : CMeterSource(scheduler, name, std::move(label), periods),
      mPeriod(periods.sampling),
      mBackOff(periods.sampling, kLongestPause) {}

bool CPolledMeter::Init() {
  LOG_ENTRY(kClassName);
  Worker().Start();
  std::string fault;
  Worker().BlockingCall([this, &fault] {
    Expect();
    mPolling.Cancel();
    fault = Prepare();
    if (!fault.empty()) return Fail(fault);
    mBackOff.Reset();
    PollAfter(Milliseconds{0});
  });
  return fault.empty();
}

void CPolledMeter::DeInit() {
  LOG_ENTRY(kClassName);
  CMeterSource::DeInit();
  mPolling.Cancel();
  Disconnect();
}

void CPolledMeter::Turn() {
  const Answer answer = Poll();
  if (const auto* failure = std::get_if<std::string>(&answer)) {
    Reject(*failure);
    PollAfter(mBackOff.Next());
    return;
  }
  Accept(std::get<SMeterReading>(answer));
  mBackOff.Reset();
}

void CPolledMeter::PollAfter(Milliseconds pause) {
  mPolling = Worker().AddCall([this] { Turn(); }, pause, mPeriod);
}
