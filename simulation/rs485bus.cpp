#include "simulation/rs485bus.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "simulation/rs485buslistener.h"

namespace {

constexpr std::uint32_t kThousand = 1000;
/// Pieces that end together with a transmission are delivered within it.
constexpr Milliseconds kMemory{10};

TimePoint After(TimePoint begin, std::size_t bytes) {
  return begin + std::chrono::duration_cast<TimePoint::duration>(CRs485Bus::kByteTime * bytes);
}

}  // namespace

CRs485Bus::CRs485Bus(IScheduler& scheduler, std::uint64_t seed)
    : mScheduler(scheduler), mRandom(seed), mWorker(scheduler, "CRs485Bus") {
  mWorker.Start();
}

CRs485Bus::~CRs485Bus() {
  mWorker.Stop();
}

std::shared_ptr<ICommunicationListener> CRs485Bus::Attach(MediumStation station) {
  const auto listener = std::make_shared<CRs485BusListener>(*this, station);
  if (!mListeners.emplace(station, listener).second) throw std::logic_error("the station is there already");
  return listener;
}

void CRs485Bus::SetDevicePresent(MediumStation station, bool isPresent) {
  mListeners.at(station)->SetPresent(isPresent);
}

/// Whoever is sending sends this next.
void CRs485Bus::Send(const CRs485BusListener& sender, std::span<const std::uint8_t> data) {
  if (mTap) mTap(sender.Number(), data);
  Forget();
  const TimePoint begin = std::max(mScheduler.Now(), WhenSilent(sender));
  const auto whole = std::make_shared<const STransmission>(
      STransmission{&sender, begin, After(begin, data.size()), {data.begin(), data.end()}});
  mTransmissions.push_back(whole);
  for (std::size_t at = 0; at < data.size();) {
    const std::size_t length = std::min(data.size() - at, 1 + mRandom.Index(kLongestPiece));
    Schedule({whole, at, at + length});
    at += length;
  }
}

TimePoint CRs485Bus::WhenSilent(const CRs485BusListener& sender) const {
  TimePoint silent{};
  for (const auto& transmission : mTransmissions) {
    if (transmission->sender == &sender) silent = std::max(silent, transmission->end);
  }
  return silent;
}

void CRs485Bus::Schedule(const SPiece& piece) {
  const auto span = After(piece.whole->begin, piece.end) - mScheduler.Now();
  const std::uint64_t id = ++mLastPiece;
  mPieces[id] = mWorker.AddCall(
      [this, id, piece] {
        Deliver(piece);
        mPieces.erase(id);
      },
      std::chrono::ceil<Milliseconds>(span));
}

void CRs485Bus::Deliver(const SPiece& piece) {
  for (const auto& [number, hearer] : mListeners) {
    if (!hearer->IsListening() || !Reaches(*piece.whole->sender, *hearer)) continue;
    std::vector<std::uint8_t> heard = Heard(piece, *hearer);
    Spoil(heard);
    if (!heard.empty()) hearer->Hear(heard);
  }
}

std::vector<std::uint8_t> CRs485Bus::Heard(const SPiece& piece, const CRs485BusListener& hearer) {
  std::vector<std::uint8_t> heard;
  for (std::size_t at = piece.begin; at < piece.end; ++at) {
    const TimePoint begin = After(piece.whole->begin, at);
    const TimePoint end = After(piece.whole->begin, at + 1);
    const auto meets = [&](const auto& other) {
      return other != piece.whole && other->begin < end && begin < other->end;
    };
    const bool isSending = std::ranges::any_of(
        mTransmissions, [&](const auto& other) { return other->sender == &hearer && meets(other); });
    if (isSending) continue;
    const bool isMixed = std::ranges::any_of(
        mTransmissions, [&](const auto& other) { return meets(other) && Reaches(*other->sender, hearer); });
    heard.push_back(
        isMixed ? static_cast<std::uint8_t>(mRandom.Below(std::numeric_limits<std::uint8_t>::max() + 1))
                : piece.whole->data[at]);
  }
  return heard;
}

bool CRs485Bus::Reaches(const CRs485BusListener& sender, const CRs485BusListener& hearer) const {
  return &sender != &hearer && sender.IsPresent() && mHearing.Joins(sender.Number(), hearer.Number());
}

void CRs485Bus::Spoil(std::vector<std::uint8_t>& bytes) {
  if (bytes.empty()) return;
  if (mFaults.loss != 0 && mRandom.Chance(mFaults.loss, kThousand)) return bytes.clear();
  if (mFaults.corruption != 0 && mRandom.Chance(mFaults.corruption, kThousand)) {
    bytes[mRandom.Index(bytes.size())] ^=
        static_cast<std::uint8_t>(mRandom.Between(1, std::numeric_limits<std::uint8_t>::max()));
  }
}

void CRs485Bus::Forget() {
  std::erase_if(mTransmissions, [oldest = mScheduler.Now() - kMemory](const auto& transmission) {
    return transmission->end < oldest;
  });
}
