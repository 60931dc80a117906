#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/rpc/communicationhost.h"
#include "platform/rpc/serviceaddresses.h"

namespace Rpc {

/// The communication host over a backend. A backend has
///   class IServer with a virtual destructor that stops serving,
///   void CheckAddress(const std::string& address), which throws CStartError when it is seen to be taken,
///   std::unique_ptr<IServer> Serve(const std::string& address, const
///   std::vector<std::shared_ptr<CService>>&),
///     which throws CStartError,
///   std::unique_ptr<IChannel> Connect(const std::string& address).
template <class TBackend>
class AppCommunicationHost final : public ICommunicationHost {
 public:
  /// Reads "etc/kipc.json" below the root.
  AppCommunicationHost(TBackend backend, IFiles& files, const std::filesystem::path& root)
      : mBackend(std::move(backend)), mAddresses(files, root) {}
  ~AppCommunicationHost() override { Stop(); }

  void RegisterService(const std::string& name, std::shared_ptr<CService> service) override {
    mServices[mAddresses.Of(name)].push_back(std::move(service));
  }

  using ICommunicationHost::CreateClient;
  std::shared_ptr<CClient> CreateClient(const std::string& name, Milliseconds timeout) override {
    return std::make_shared<CClient>(name, mBackend.Connect(mAddresses.Of(name)), timeout);
  }

  void CheckAddresses() override {
    for (const auto& [address, services] : mServices) mBackend.CheckAddress(address);
  }

  void Start() override {
    for (const auto& [address, services] : mServices) {
      mServers.push_back(mBackend.Serve(address, services));
    }
    mAddresses.WarnOfUnusedEntries();
  }

  void Stop() override { mServers.clear(); }

 private:
  TBackend mBackend;
  CServiceAddresses mAddresses;
  std::map<std::string, std::vector<std::shared_ptr<CService>>> mServices;  // by address
  std::vector<std::unique_ptr<typename TBackend::IServer>> mServers;
};

}  // namespace Rpc
