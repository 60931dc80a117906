#include <wolfssl/options.h>
// The options come first, as in every file that uses the library.
#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>
#include <wolfssl/wolfcrypt/aes.h>
#include <wolfssl/wolfcrypt/random.h>

#include "bench/median.h"
#include "platform/crypto/wolfrandom.h"
#include "src/components/loadbalancing/lbencryptedpacketparser.h"
#include "support/allocations.h"
#include "support/scriptedpeer.h"

namespace {

/// What the library itself does for the largest packet, made and opened.
class CBarePacket {
 public:
  CBarePacket() {
    const std::array<byte, 32> key{1};
    mIsGood = wc_InitRng(&mRandom) == 0 && wc_AesInit(&mAes, nullptr, INVALID_DEVID) == 0 &&
              wc_AesGcmSetKey(&mAes, key.data(), 32) == 0;
  }
  ~CBarePacket() {
    wc_AesFree(&mAes);
    wc_FreeRng(&mRandom);
  }
  CBarePacket(const CBarePacket&) = delete;
  CBarePacket& operator=(const CBarePacket&) = delete;

  bool IsGood() const { return mIsGood; }
  void MakeAndOpen() {
    mIsGood = mIsGood && wc_RNG_GenerateBlock(&mRandom, mNonce.data(), 12) == 0 &&
              wc_AesGcmEncrypt(&mAes, mCiphertext.data(), mPadded.data(), 32, mNonce.data(), 12, mTag.data(),
                               12, mSequenceNumber.data(), 4) == 0 &&
              wc_AesGcmDecrypt(&mAes, mPadded.data(), mCiphertext.data(), 32, mNonce.data(), 12, mTag.data(),
                               12, mSequenceNumber.data(), 4) == 0;
  }

 private:
  WC_RNG mRandom;
  Aes mAes;
  bool mIsGood = false;
  std::array<byte, 32> mPadded{};
  std::array<byte, 32> mCiphertext{};
  std::array<byte, 4> mSequenceNumber{};
  std::array<byte, 12> mNonce{};
  std::array<byte, 12> mTag{};
};

/// A limit's answer through the parser, from the message to the handler that gets it back.
class CParsedPacket {
 public:
  CParsedPacket() {
    mParser.Initialize("password", 1);
    mParser.SetMessageHandler([this](const auto&, const auto&) { ++mFound; });
    mPeer->mSequence.SetNewest(1);
    mPeer->mReceived.reserve(61);
  }

  std::int64_t Found() const { return mFound; }
  void MakeAndOpen() {
    const std::vector<std::uint8_t> packet = mParser.Serialize(mAnswer, mPeer.get());
    mPeer->mReceived.assign(packet.begin(), packet.end());
    mParser.Parse(mPeer);
  }

 private:
  CLbEncryptedPacketParser mParser{std::make_unique<CWolfRandom>()};
  const std::shared_ptr<CScriptedPeer> mPeer = std::make_shared<CScriptedPeer>();
  const SLbMessage mAnswer =
      LbMessages::Write(LbMessages::SLimitAnswer{.load = {.milliAmpere = {16000, 16000, 16000}}});
  std::int64_t mFound = 0;
};

constexpr int kPerRound = 100;

template <typename TPacket>
double NanosecondsFor(TPacket& packet) {
  const auto begin = std::chrono::steady_clock::now();
  for (int count = 0; count < kPerRound; ++count) packet.MakeAndOpen();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count() /
         kPerRound;
}

/// In turns, so that both see the machine alike.
void BM_Packet(benchmark::State& state) {
  CBarePacket bare;
  CParsedPacket parsed;
  std::vector<double> ofBare, ofParsed, times;
  std::uint64_t allocated = 0;
  for (auto _ : state) {
    ofBare.push_back(NanosecondsFor(bare));
    const std::uint64_t before = AllocationsOfThisThread();
    const double nanoseconds = NanosecondsFor(parsed);
    allocated += AllocationsOfThisThread() - before;
    ofParsed.push_back(nanoseconds);
    times.push_back(ofParsed.back() / ofBare.back());
  }
  const std::int64_t packets = state.iterations() * kPerRound;
  if (!bare.IsGood() || parsed.Found() != packets) state.SkipWithError("a packet was not opened");
  state.counters["bare_ns"] = Median(ofBare);
  state.counters["packet_ns"] = Median(ofParsed);
  state.counters["times"] = Median(times);
  state.counters["allocs"] = static_cast<double>(allocated) / static_cast<double>(packets);
}
BENCHMARK(BM_Packet);

}  // namespace
