#include <wolfssl/options.h>
// The options come first, as in every file that uses the library.
#include <array>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <wolfssl/wolfcrypt/aes.h>
#include <wolfssl/wolfcrypt/error-crypt.h>
#include <wolfssl/wolfcrypt/pwdbased.h>

#include "platform/crypto/cryptoerror.h"
#include "platform/log/log.h"
#include "platform/utility/wipe.h"
#include "src/components/loadbalancing/lbcipher.h"

namespace {

constexpr int kIterations = 10000;
/// The same at every station, so that password and group alone decide who understands whom.
constexpr std::array<std::uint8_t, 32> kSalt{0x7b, 0x33, 0x72, 0x71, 0xf4, 0xe7, 0xf2, 0xe9, 0x99, 0xa6, 0x12,
                                             0x3a, 0x0e, 0xcc, 0xc6, 0x23, 0x0c, 0x61, 0x02, 0x0c, 0xbd, 0x36,
                                             0xf3, 0xcc, 0xf7, 0x05, 0xf1, 0xe7, 0xf4, 0xdd, 0xb1, 0x8e};

constexpr word32 kKeySize = 32;
using Key = std::array<std::uint8_t, kKeySize>;

/// Library code.
int DeriveKey(std::string_view password, std::uint16_t groupId, Key& key) {
  std::string text;
  const CWipeAtEnd wipeText(text);
  const fmt::format_int group(groupId);
  text.reserve(password.size() + group.size());  // so that it leaves no copies where it has grown
  text.append(password).append(group.data(), group.size());
  if (!std::in_range<int>(text.size())) return BAD_FUNC_ARG;
  const int result =
      wc_PBKDF2(key.data(), reinterpret_cast<const byte*>(text.data()), static_cast<int>(text.size()),
                kSalt.data(), kSalt.size(), kIterations, kKeySize, WC_SHA256);
  WipeStack();  // where the library leaves the password XOR-ed with the HMAC pads
  return result;
}

}  // namespace

/// One direction.
class CLbCipher::CContext {
 public:
  CContext() = default;
  ~CContext() { Release(); }
  CContext(const CContext&) = delete;
  CContext& operator=(const CContext&) = delete;

  bool SetKey(const Key& key);
  int Encrypt(std::span<const std::uint8_t> padded, const SLbPacketParts<std::uint8_t>& parts);
  int Decrypt(const SLbPacketParts<const std::uint8_t>& parts, std::span<std::uint8_t> padded);

 private:
  void Release();

  Aes mAes{};
  bool mHasKey = false;
};

bool CLbCipher::CContext::SetKey(const Key& key) {
  Release();
  if (const int result = wc_AesInit(&mAes, nullptr, INVALID_DEVID); result != 0) {
    LOG_ERROR("wc_AesInit failed, rc={:d}, msg={:s}", result, CryptoErrorText(result));
    return false;
  }
  if (const int result = wc_AesGcmSetKey(&mAes, key.data(), kKeySize); result != 0) {
    LOG_ERROR("wc_AesSetKey failed, rc={:d}, msg={:s}", result, CryptoErrorText(result));
    return false;
  }
  mHasKey = true;
  return true;
}

int CLbCipher::CContext::Encrypt(std::span<const std::uint8_t> padded,
                                 const SLbPacketParts<std::uint8_t>& parts) {
  if (!mHasKey) return BAD_FUNC_ARG;
  return wc_AesGcmEncrypt(&mAes, parts.ciphertext.data(), padded.data(), static_cast<word32>(padded.size()),
                          parts.nonce.data(), SLbEnvelope::kNonceSize, parts.tag.data(),
                          SLbEnvelope::kTagSize, parts.sequenceNumber.data(),
                          static_cast<word32>(parts.sequenceNumber.size()));
}

int CLbCipher::CContext::Decrypt(const SLbPacketParts<const std::uint8_t>& parts,
                                 std::span<std::uint8_t> padded) {
  if (!mHasKey) return BAD_FUNC_ARG;
  return wc_AesGcmDecrypt(&mAes, padded.data(), parts.ciphertext.data(), static_cast<word32>(padded.size()),
                          parts.nonce.data(), SLbEnvelope::kNonceSize, parts.tag.data(),
                          SLbEnvelope::kTagSize, parts.sequenceNumber.data(),
                          static_cast<word32>(parts.sequenceNumber.size()));
}

void CLbCipher::CContext::Release() {
  mHasKey = false;
  wc_AesFree(&mAes);
  Wipe(std::as_writable_bytes(std::span(&mAes, 1)));
}

CLbCipher::CLbCipher() : mSending(std::make_unique<CContext>()), mReceiving(std::make_unique<CContext>()) {}

CLbCipher::~CLbCipher() = default;

bool CLbCipher::SetKey(std::string_view password, std::uint16_t groupId) {
  Key key{};
  const CWipeAtEnd wipeKey(key);
  if (const int result = DeriveKey(password, groupId, key); result != 0) {
    LOG_ERROR("wc_PBKDF2 failed, rc={:d}, msg={:s}", result, CryptoErrorText(result));
    return false;
  }
  return mSending->SetKey(key) && mReceiving->SetKey(key);
}

int CLbCipher::Encrypt(std::span<const std::uint8_t> padded, const SLbPacketParts<std::uint8_t>& parts) {
  return mSending->Encrypt(padded, parts);
}

int CLbCipher::Decrypt(const SLbPacketParts<const std::uint8_t>& parts, std::span<std::uint8_t> padded) {
  return mReceiving->Decrypt(parts, padded);
}
