#pragma once

#include <filesystem>
#include <string>

#include "platform/utility/filedescriptor.h"

/// A pseudo-terminal in place of a serial device: a link leads to the end that programs open. Nothing of
/// others is removed, but a link to a pseudo-terminal that is gone.
class CLinkedPty {
 public:
  /// What failed; empty: nothing. The link's folder is made if it is missing.
  std::string Open(const std::filesystem::path& link);
  /// Removes the link if it is ours.
  void Close();

  bool IsOpen() const { return mFarEnd.IsOpen(); }
  /// The end that is not the device.
  int FarEnd() const { return mFarEnd.Get(); }
  /// The device, which is open here too.
  int NearEnd() const { return mNearEnd.Get(); }

  CLinkedPty() = default;
  ~CLinkedPty() { Close(); }
  CLinkedPty(const CLinkedPty&) = delete;
  CLinkedPty& operator=(const CLinkedPty&) = delete;

 private:
  std::string Make();

  std::filesystem::path mLink;
  std::string mName;  // empty unless the link is there and ours
  CFileDescriptor mFarEnd;
  CFileDescriptor mNearEnd;  // held so that the device is there while nobody has it open
};
