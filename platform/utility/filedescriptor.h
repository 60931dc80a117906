#pragma once

#include <utility>

#include <unistd.h>

/// Owns an open file descriptor and closes it. Negative: none.
class CFileDescriptor {
 public:
  CFileDescriptor() = default;
  explicit CFileDescriptor(int descriptor) : mDescriptor(descriptor) {}
  ~CFileDescriptor() { Close(); }
  CFileDescriptor(CFileDescriptor&& other) noexcept : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
  CFileDescriptor& operator=(CFileDescriptor&& other) noexcept {
    if (this != &other) {
      Close();
      mDescriptor = std::exchange(other.mDescriptor, -1);
    }
    return *this;
  }
  CFileDescriptor(const CFileDescriptor&) = delete;
  CFileDescriptor& operator=(const CFileDescriptor&) = delete;

  int Get() const { return mDescriptor; }
  bool IsOpen() const { return mDescriptor >= 0; }
  void Close() {
    if (IsOpen()) ::close(std::exchange(mDescriptor, -1));
  }

 private:
  int mDescriptor = -1;
};
