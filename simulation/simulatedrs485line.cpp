#include "simulation/simulatedrs485line.h"

#include <algorithm>
#include <span>
#include <string>

#include "simulation/p1telegramtext.h"

namespace {

constexpr std::size_t kLongestPiece = 128;

}  // namespace

CSimulatedRs485Line::CSimulatedRs485Line(IScheduler& scheduler, CHouseMeter& meter)
    : mMeter(meter), mWorker(scheduler, "CSimulatedRs485Line") {}

CSimulatedRs485Line::~CSimulatedRs485Line() {
  CSimulatedRs485Line::Stop();
}

bool CSimulatedRs485Line::Start() {
  if (!mIsPresent) return false;
  mWorker.Start();
  mSending = mWorker.AddCall([this] { SendTelegram(); }, kInterval, kInterval);
  return true;
}

void CSimulatedRs485Line::Stop() {
  mWorker.Stop();
  mSending.Cancel();
}

void CSimulatedRs485Line::SendTelegram() {
  const std::string telegram = P1TelegramOf(mMeter);
  std::span rest(reinterpret_cast<const std::uint8_t*>(telegram.data()), telegram.size());
  while (!rest.empty() && mHandler) {
    const std::size_t length = std::min(rest.size(), kLongestPiece);
    mEndpoint->Append(rest.first(length));
    mHandler(mEndpoint);
    rest = rest.subspan(length);
  }
}
