#include "platform/rpc/inprocessbackend.h"

#include <utility>

#include "platform/rpc/inprocesssubscription.h"

namespace Rpc {

namespace {

using NetworkPointer = std::shared_ptr<CInProcessNetwork>;

class CServer final : public InProcessBackend::IServer {
 public:
  CServer(NetworkPointer network, std::string address)
      : mNetwork(std::move(network)), mAddress(std::move(address)) {}
  ~CServer() override { mNetwork->StopServing(mAddress); }
  CServer(const CServer&) = delete;
  CServer& operator=(const CServer&) = delete;

 private:
  const NetworkPointer mNetwork;
  const std::string mAddress;
};

class CSubscription final : public IChannel::ISubscription {
 public:
  CSubscription(NetworkPointer network, std::shared_ptr<CInProcessSubscription> subscription)
      : mNetwork(std::move(network)), mSubscription(std::move(subscription)) {
    mSubscription->Start();
  }
  ~CSubscription() override { mSubscription->End(); }
  CSubscription(const CSubscription&) = delete;
  CSubscription& operator=(const CSubscription&) = delete;

 private:
  const NetworkPointer mNetwork;
  const std::shared_ptr<CInProcessSubscription> mSubscription;
};

class CChannel final : public IChannel {
 public:
  CChannel(NetworkPointer network, std::string address)
      : mNetwork(std::move(network)), mAddress(std::move(address)) {}

  SAnswer Call(std::string_view path, std::string_view request, Milliseconds) override {
    return mNetwork->Call(mAddress, path, request);
  }

  std::unique_ptr<ISubscription> Subscribe(std::string_view path, std::string,
                                           SSubscriber subscriber) override {
    return std::make_unique<CSubscription>(
        mNetwork, std::make_shared<CInProcessSubscription>(*mNetwork, mAddress, std::string(path),
                                                           std::move(subscriber)));
  }

 private:
  const NetworkPointer mNetwork;
  const std::string mAddress;
};

[[noreturn]] void ThrowInUse(const std::string& address) {
  throw CStartError("Cannot serve " + address + ": it is in use");
}

}  // namespace

void InProcessBackend::CheckAddress(const std::string& address) {
  if (mNetwork->IsServed(address)) ThrowInUse(address);
}

std::unique_ptr<InProcessBackend::IServer> InProcessBackend::Serve(
    const std::string& address, const std::vector<std::shared_ptr<CService>>& services) {
  if (!mNetwork->Serve(address, std::make_shared<CServiceTable>(address, services))) {
    ThrowInUse(address);
  }
  return std::make_unique<CServer>(mNetwork, address);
}

std::unique_ptr<IChannel> InProcessBackend::Connect(const std::string& address) {
  return std::make_unique<CChannel>(mNetwork, address);
}

}  // namespace Rpc
