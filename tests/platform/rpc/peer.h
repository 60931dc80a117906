#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "ipc/currentcontrol.service.h"
#include "ipc/netm.service.h"

#include "platform/rpc/appcommunicationhost.h"
#include "simulation/memoryfiles.h"

/// Offers services as a sibling process would, in the test's own process.
namespace RpcTest {

class CNetM final : public ipc::INetM {
 public:
  Rpc::CNotifier<ipc::MTemperature>& TemperatureNotifications() override { return temperatures; }
  void Notify(float celsius) {
    ipc::MTemperature temperature;
    temperature.set_celsius(celsius);
    temperatures.Notify(temperature);
  }
  std::size_t Subscribers() const { return temperatures.Hub()->Subscribers(); }

  Rpc::CNotifier<ipc::MTemperature> temperatures;
};

class CCurrentControl final : public ipc::ICurrentControl {
 public:
  ipc::MResult SetCurrentLimit(const ipc::MCurrentControlLimit& request) override {
    if (onSet) onSet();
    source = request.source();
    ++calls;
    ipc::MResult result;
    result.set_code(7);
    return result;
  }
  ipc::MResult ClearCurrentLimit(const ipc::MCurrentControlLimit&) override { return {}; }
  ipc::MCurrentControlLimit GetCurrentLimit(const ipc::MEmpty&) override { return {}; }
  ipc::MResult SetMeasurementSourceConnection(const ipc::MMeasurementSource&) override { return {}; }
  ipc::MResult ClearMeasurementSourceConnection(const ipc::MEmpty&) override { return {}; }
  ipc::MCurrentControlLimits GetLimits(const ipc::MEmpty&) override { return {}; }
  ipc::MGroup GetGroup(const ipc::MEmpty&) override { return {}; }

  std::function<void()> onSet;
  std::atomic<int> source{0};
  std::atomic<int> calls{0};
};

/// A process "Peer" that offers both services at one address.
template <class TBackend>
class CPeer {
 public:
  CPeer(TBackend backend, IFiles& files, const std::filesystem::path& root)
      : mHost(std::move(backend), files, root) {
    mHost.RegisterService("Peer", ipc::CreateService(std::static_pointer_cast<ipc::INetM>(netM)));
    mHost.RegisterService("PeerGenCtrl",
                          ipc::CreateService(std::static_pointer_cast<ipc::ICurrentControl>(control)));
  }
  void Start() { mHost.Start(); }
  void Stop() { mHost.Stop(); }

  const std::shared_ptr<CNetM> netM = std::make_shared<CNetM>();
  const std::shared_ptr<CCurrentControl> control = std::make_shared<CCurrentControl>();

 private:
  Rpc::AppCommunicationHost<TBackend> mHost;
};

inline ipc::MCurrentControlLimit LimitOf(int source) {
  ipc::MCurrentControlLimit limit;
  limit.set_source(static_cast<ipc::ECurrentControlSource>(source));
  return limit;
}

}  // namespace RpcTest
