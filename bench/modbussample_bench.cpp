#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <benchmark/benchmark.h>
#include <json/value.h>

#include "platform/log/logcapture.h"
#include "platform/modbus/modbusconnector.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/modbusserver.h"
#include "simulation/simulatedmodbus.h"
#include "src/components/measurementsources/modbusmeasurementsource.h"

namespace {

constexpr std::uint64_t kSamples = 10;

/// Asks on behalf of another, and counts the requests.
class CCountingClient final : public IModbusClient {
 public:
  CCountingClient(std::unique_ptr<IModbusClient> client, std::uint64_t& requests)
      : mClient(std::move(client)), mRequests(requests) {}

  SModbusResult Connect() override { return mClient->Connect(); }
  void Disconnect() override { mClient->Disconnect(); }
  SModbusResult Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                     std::span<std::uint16_t> registers) override {
    ++mRequests;
    return mClient->Read(table, unit, address, registers);
  }

 private:
  const std::unique_ptr<IModbusClient> mClient;
  std::uint64_t& mRequests;
};

class CCountingConnector final : public IModbusConnector {
 public:
  CCountingConnector(IScheduler& scheduler, std::uint64_t& requests)
      : mConnector(scheduler), mRequests(requests) {}

  std::unique_ptr<IModbusClient> CreateTcpClient(const SModbusTcpServer& server) override {
    return std::make_unique<CCountingClient>(mConnector.CreateTcpClient(server), mRequests);
  }
  std::unique_ptr<IModbusClient> CreateRtuClient(const SModbusRtuLine& line) override {
    return mConnector.CreateRtuClient(line);
  }

 private:
  CModbusConnector mConnector;
  std::uint64_t& mRequests;
};

/// A house whose meter is of some model.
struct SHouse {
  explicit SHouse(const SModbusMeterModel& model) : unit(meter, model) {
    house.SetLoads({10000, 5000, 2000});
  }

  Json::Value Parameters() const {
    Json::Value parameters;
    parameters["type"] = std::string(unit.Model().name);
    parameters["address"] = "127.0.0.1";
    return parameters;
  }

  CVirtualScheduler scheduler;
  CChargePoint chargePoint{scheduler};
  CHouse house{scheduler, chargePoint};
  CHouseMeter meter{scheduler, house};
  CModbusUnit unit;
};

/// The meter on a real socket, read by what ships, in virtual time: a sample whenever time goes on.
class CMeasuredHouse {
 public:
  explicit CMeasuredHouse(const SModbusMeterModel& model) : mHouse(model) {
    mServer.Start();
    Json::Value parameters = mHouse.Parameters();
    parameters["port"] = mServer.Port();
    mSource = std::make_unique<CModbusMeasurementSource>(
        mHouse.scheduler, std::make_shared<CCountingConnector>(mHouse.scheduler, mRequests),
        EModbusConnectionKind::Tcp, parameters, SModbusRtuLine(), CModbusMeasurementSource::SPeriods());
    mSource->Init();
    Sample();  // connects, and finds out where the registers are
    mRequests = 0;
  }

  void Sample() { mHouse.scheduler.RunFor(kSamplingPeriod); }
  std::uint64_t Requests() const { return mRequests; }
  bool IsRead() const {
    return mSource->GetMeasurements(EMeasureType::Current) == ThreePhaseValue{10000, 5000, 2000};
  }

 private:
  SHouse mHouse;
  CModbusServer mServer{mHouse.unit};
  std::uint64_t mRequests = 0;
  std::unique_ptr<CModbusMeasurementSource> mSource;
};

/// One of a three-phase meter over loopback TCP. The requests are those of the model that needs most, of all
/// that have a network socket.
void BM_ModbusSample(benchmark::State& state) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  std::uint64_t most = 0;
  for (const SModbusMeterModel& model : ModbusMeterModels()) {
    if (!model.Has(EModbusConnectionKind::Tcp) || model.map.phases == 1) continue;
    CMeasuredHouse house(model);
    for (std::uint64_t sample = 0; sample < kSamples; ++sample) house.Sample();
    if (!house.IsRead()) return state.SkipWithError(std::string(model.name).c_str());
    most = std::max(most, (house.Requests() + kSamples - 1) / kSamples);
  }
  CMeasuredHouse house(*FindModbusMeterModel("siemens_pac2200"));
  for (auto _ : state) house.Sample();
  if (!house.IsRead()) state.SkipWithError("the currents are wrong");
  state.counters["requests"] = static_cast<double>(most);
}
BENCHMARK(BM_ModbusSample)->Unit(benchmark::kMicrosecond)->UseRealTime();

/// Ten minutes of a meter that is down, in virtual time: how often somebody tries to connect to it.
void BM_MeterDown(benchmark::State& state) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  std::uint32_t attempts = 0;
  for (auto _ : state) {
    SHouse house(*FindModbusMeterModel("siemens_pac2200"));
    const auto connector = std::make_shared<CSimulatedModbus>(house.unit);
    house.meter.SetFate(CHouseMeter::EFate::Away);
    CModbusMeasurementSource source(house.scheduler, connector, EModbusConnectionKind::Tcp,
                                    house.Parameters(), SModbusRtuLine(),
                                    CModbusMeasurementSource::SPeriods());
    source.Init();
    house.scheduler.RunFor(std::chrono::minutes(10));
    attempts = connector->Count().connections;
  }
  state.counters["attempts"] = attempts;
}
BENCHMARK(BM_MeterDown)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
