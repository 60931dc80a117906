#include <wolfssl/options.h>
// The options come first, as in every file that uses the library.
#include <wolfssl/wolfcrypt/error-crypt.h>

#include "platform/crypto/cryptoerror.h"

const char* CryptoErrorText(int code) {
  return wc_GetErrorString(code);
}
