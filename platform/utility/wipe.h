#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// Overwrites a secret with zeros, which no compiler leaves out.
void Wipe(std::span<std::byte> bytes);
void Wipe(std::span<std::uint8_t> bytes);
/// Also what the text held when it was longer, then empties it. Its memory is kept.
void Wipe(std::string& text);
/// Overwrites what calls that have returned may have left on this thread's stack.
void WipeStack();

/// Wipes what it was given at the end of its scope, however that is left.
template <typename TSecret>
class CWipeAtEnd {
 public:
  explicit CWipeAtEnd(TSecret& secret) : mSecret(secret) {}
  ~CWipeAtEnd() { Wipe(mSecret); }
  CWipeAtEnd(const CWipeAtEnd&) = delete;
  CWipeAtEnd& operator=(const CWipeAtEnd&) = delete;

 private:
  TSecret& mSecret;
};
