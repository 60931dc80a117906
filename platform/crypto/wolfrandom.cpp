#include <wolfssl/options.h>
// The options come first, as in every file that uses the library.
#include <wolfssl/wolfcrypt/error-crypt.h>
#include <wolfssl/wolfcrypt/random.h>

#include "platform/crypto/wolfrandom.h"

class CWolfRandom::CState {
 public:
  CState() = default;
  ~CState() {
    if (IsReady()) wc_FreeRng(&mGenerator);
  }
  CState(const CState&) = delete;
  CState& operator=(const CState&) = delete;

  int Init() {
    if (!IsReady()) mResult = wc_InitRng(&mGenerator);
    return mResult;
  }

  int GenerateBlock(std::span<std::uint8_t> block) {
    if (!IsReady()) return mResult;
    return wc_RNG_GenerateBlock(&mGenerator, block.data(), static_cast<word32>(block.size()));
  }

 private:
  bool IsReady() const { return mResult == 0; }

  WC_RNG mGenerator{};
  int mResult = MISSING_RNG_E;  // of Init
};

CWolfRandom::CWolfRandom() : mState(std::make_unique<CState>()) {}

CWolfRandom::~CWolfRandom() = default;

int CWolfRandom::Init() {
  return mState->Init();
}

int CWolfRandom::GenerateBlock(std::span<std::uint8_t> block) {
  return mState->GenerateBlock(block);
}
