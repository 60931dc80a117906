#pragma once

#include <memory>

#include "src/communication/icommunicationlistener.h"
#include "src/communication/rs485line.h"

/// Where there is no medium: it cannot be started, and nothing can be sent. Both return false without the
/// error line of the interface: there is no device whose failure it could tell.
class CNoCommunicationListener : public ICommunicationListener {
 public:
  bool Start() override { return false; }
  void Stop() override {}
  bool BroadcastData(std::span<const std::uint8_t>) override { return false; }
  Milliseconds GetResponseTime(bool) const override { return Milliseconds{0}; }
  std::uint32_t GetCapacity() const override { return 0; }
  void SetDataReceivedHandler(DataReceivedHandler) override {}
};

/// For stations without a serial line, or whose line is taken.
inline std::shared_ptr<ICommunicationListener> NoRs485(const SRs485Line& /*line*/) {
  return std::make_shared<CNoCommunicationListener>();
}
