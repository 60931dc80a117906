#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <termios.h>

#include "platform/utility/filedescriptor.h"
#include "platform/utility/rs485mode.h"
#include "src/communication/communicationhal.h"
#include "src/communication/rs485line.h"

/// A half-duplex RS485 line on a serial device, raw, 8 data bits. Its descriptor does not block: opening it
/// does not wait for a carrier, and a write takes what there is room for.
class CRs485Hal final : public ICommunicationHal {
 public:
  /// Switches a serial device to RS485 mode; false when it has none.
  using ModeSwitch = std::function<bool(int descriptor)>;
  explicit CRs485Hal(const SRs485Line& line);
  /// Without a switch the line is one that changes its direction by itself.
  CRs485Hal(std::string path, std::uint32_t baud, ModeSwitch modeSwitch = SwitchToRs485);
  ~CRs485Hal() override;

  bool Open() override;
  void Close() override;
  int Descriptor() const override { return mDevice.Get(); }

 private:
  std::string TrySetUp();
  std::string TryApplySettings();

  const std::string mPath;
  const std::uint32_t mBaud;
  const ModeSwitch mModeSwitch;
  CFileDescriptor mDevice;
  std::optional<termios> mFound;  // settings, to be restored
  std::string mFailure;           // of the newest attempt; empty: none
};
