#include "simulation/multicastmedium.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

#include "simulation/multicaststation.h"

namespace {

constexpr std::uint32_t kThousand = 1000;
constexpr std::uint32_t kBitsPerByte = 8;

bool Any(CRandom& random, std::span<const SMediumFaults> faults, std::uint32_t SMediumFaults::*kind) {
  // Whoever draws nothing where nothing can happen does not change what the rest of a run is like.
  bool happens = false;
  for (const SMediumFaults& each : faults) {
    if (each.*kind != 0 && random.Chance(each.*kind, kThousand)) happens = true;
  }
  return happens;
}

Milliseconds Delay(CRandom& random, std::span<const SMediumFaults> faults) {
  Milliseconds delay{0};
  for (const SMediumFaults& each : faults)
    delay += random.Between(each.shortestDelay, std::max(each.shortestDelay, each.longestDelay));
  return delay;
}

}  // namespace

CMulticastMedium::CMulticastMedium(IScheduler& scheduler, std::uint64_t seed)
    : mScheduler(scheduler), mRandom(seed) {}

CMulticastMedium::~CMulticastMedium() = default;

std::shared_ptr<INetwork> CMulticastMedium::Attach(MediumStation station, const std::string& adapter) {
  const auto attached = std::make_shared<CMulticastStation>(*this, mScheduler, station, adapter);
  if (!mStations.emplace(station, attached).second) throw std::logic_error("the station is there already");
  return attached;
}

SUdpAddress CMulticastMedium::AddressOf(MediumStation station, std::uint16_t port) {
  SUdpAddress address{.address = {0xfe, 0x80}, .scope = 0, .port = port};
  for (std::size_t i = 0; i < sizeof station; ++i)
    address.address[address.address.size() - 1 - i] =
        static_cast<std::uint8_t>(station >> (kBitsPerByte * i));
  return address;
}

void CMulticastMedium::SetAdapterPresent(MediumStation station, bool isPresent) {
  mStations.at(station)->SetAdapterPresent(isPresent);
}

void CMulticastMedium::Inject(MediumStation to, std::uint16_t port, const SUdpAddress& from,
                              std::span<const std::uint8_t> data) {
  mStations.at(to)->Hear({{data.begin(), data.end()}, from, AddressOf(to, port)}, Milliseconds{0});
}

void CMulticastMedium::Carry(const CMulticastStation& sender, const SDatagram& datagram) {
  if (mTap) mTap(datagram);
  for (const auto& [number, hearer] : mStations) {
    if (hearer.get() != &sender && mHearing.Joins(sender.Number(), number))
      Deliver(sender.Number(), *hearer, datagram);
  }
}

void CMulticastMedium::Deliver(MediumStation from, CMulticastStation& hearer, const SDatagram& datagram) {
  if (!hearer.IsMeant(datagram.to)) return;
  const std::array faults{mFaults, mFaultsOf[from], mFaultsOf[hearer.Number()]};
  if (Any(mRandom, faults, &SMediumFaults::loss)) return;
  const int copies = Any(mRandom, faults, &SMediumFaults::duplication) ? 2 : 1;
  for (int copy = 0; copy < copies; ++copy) {
    SDatagram spoiled = Spoiled(datagram, faults);
    hearer.Hear(std::move(spoiled), Delay(mRandom, faults));
  }
}

CMulticastMedium::SDatagram CMulticastMedium::Spoiled(const SDatagram& datagram,
                                                      std::span<const SMediumFaults> faults) {
  SDatagram spoiled = datagram;
  auto& data = spoiled.data;
  if (data.empty()) return spoiled;
  if (Any(mRandom, faults, &SMediumFaults::corruption)) {
    const std::size_t place = mRandom.Index(data.size());
    data[place] ^= static_cast<std::uint8_t>(mRandom.Between(1, std::numeric_limits<std::uint8_t>::max()));
  }
  if (Any(mRandom, faults, &SMediumFaults::truncation)) data.resize(mRandom.Index(data.size()));
  return spoiled;
}
