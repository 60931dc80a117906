#pragma once

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/rpc/grpcbackend.h"
#include "platform/rpc/inprocessbackend.h"
#include "platform/worker/virtualscheduler.h"

/// The two networks that services meet on, for tests that hold on both.
namespace RpcTest {

class CInProcess {
 public:
  using Backend = Rpc::InProcessBackend;
  Backend MakeBackend() { return Backend(mNetwork); }
  std::filesystem::path Root() const { return "/station"; }

  /// Lets time pass until the condition holds; false if it never does.
  template <class TCondition>
  bool Eventually(TCondition condition) {
    constexpr int kSteps = 1000;
    for (int step = 0; step < kSteps && !condition(); ++step) mScheduler.RunFor(Milliseconds{10});
    return condition();
  }

 private:
  CVirtualScheduler mScheduler;
  std::shared_ptr<Rpc::CInProcessNetwork> mNetwork = std::make_shared<Rpc::CInProcessNetwork>(mScheduler);
};

class CGrpc {
 public:
  using Backend = Rpc::GrpcBackend;
  CGrpc() {
    std::string name = (std::filesystem::temp_directory_path() / "rpc test 100% XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    mRoot = name;
  }
  ~CGrpc() { std::filesystem::remove_all(mRoot); }
  CGrpc(const CGrpc&) = delete;
  CGrpc& operator=(const CGrpc&) = delete;

  Backend MakeBackend() { return {}; }
  std::filesystem::path Root() const { return mRoot; }

  template <class TCondition>
  bool Eventually(TCondition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
  }

 private:
  std::filesystem::path mRoot;
};

}  // namespace RpcTest
