#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include <grpcpp/grpcpp.h>

#include "bench/echo.grpc.pb.h"
#include "bench/latencies.h"
#include "bench/temporaryfolder.h"

namespace {

class CEcho final : public bench::Echo::Service {
  grpc::Status Echo(grpc::ServerContext*, const bench::MEcho* request, bench::MEcho* answer) override {
    *answer = *request;
    return grpc::Status::OK;
  }
};

/// 64 bytes there and back through a unix socket, with nothing of ours on the way.
void RoundTrips(benchmark::State& state, std::chrono::milliseconds pause) {
  const CTemporaryFolder folder;
  const std::string address = "unix:" + (folder.Path() / "echo.sock").string();
  CEcho service;
  grpc::ServerBuilder builder;
  builder.AddListeningPort(address, grpc::InsecureServerCredentials());
  builder.RegisterService(&service);
  const auto server = builder.BuildAndStart();
  const auto stub = bench::Echo::NewStub(grpc::CreateChannel(address, grpc::InsecureChannelCredentials()));

  bench::MEcho request;
  request.set_payload(std::string(64, 'x'));
  CLatencies latencies;
  for (auto _ : state) {
    grpc::ClientContext context;
    bench::MEcho answer;
    const auto start = CLatencies::Clock::now();
    const bool answered = stub->Echo(&context, request, &answer).ok();
    latencies.Add(start, CLatencies::Clock::now());
    if (!answered) state.SkipWithError("no answer");
    if (pause.count() > 0) std::this_thread::sleep_for(pause);
  }
  latencies.Report(state);
  server->Shutdown();
}

void BM_BareRoundTrip(benchmark::State& state) {
  RoundTrips(state, std::chrono::milliseconds(0));
}
BENCHMARK(BM_BareRoundTrip)->Iterations(20000)->UseRealTime();

/// With everybody asleep when it begins.
void BM_PausingRoundTrip(benchmark::State& state) {
  RoundTrips(state, std::chrono::milliseconds(10));
}
BENCHMARK(BM_PausingRoundTrip)->Iterations(600)->UseRealTime();

}  // namespace
