#include "simulation/simulatedrs485line.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "simulation/p1telegramtext.h"

namespace {

constexpr Milliseconds kResponseTime{100};
constexpr std::uint32_t kCapacity = 31;
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

bool CSimulatedRs485Line::BroadcastData(std::span<const std::uint8_t> /*data*/) {
  return true;
}

Milliseconds CSimulatedRs485Line::GetResponseTime(bool /*extended*/) const {
  return kResponseTime;
}

std::uint32_t CSimulatedRs485Line::GetCapacity() const {
  return kCapacity;
}

void CSimulatedRs485Line::SetDataReceivedHandler(DataReceivedHandler handler) {
  mHandler = std::move(handler);
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
