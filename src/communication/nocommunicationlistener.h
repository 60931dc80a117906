#pragma once

#include "src/communication/icommunicationlistener.h"

/// Where there is no medium: it cannot be started, and nothing can be sent.
class CNoCommunicationListener : public ICommunicationListener {
 public:
  bool Start() override { return false; }
  void Stop() override {}
  bool BroadcastData(std::span<const std::uint8_t>) override { return false; }
  Milliseconds GetResponseTime(bool) const override { return Milliseconds{0}; }
  std::uint32_t GetCapacity() const override { return 0; }
  void SetDataReceivedHandler(DataReceivedHandler) override {}
};
