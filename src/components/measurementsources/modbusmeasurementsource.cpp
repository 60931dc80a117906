#include "src/components/measurementsources/modbusmeasurementsource.h"

#include <utility>

#include <fmt/format.h>

#include "src/components/measurementsources/sunspecsearch.h"

CModbusMeasurementSource::CModbusMeasurementSource(IScheduler& scheduler,
                                                   std::shared_ptr<IModbusConnector> connector,
                                                   EModbusConnectionKind kind, Json::Value parameters,
                                                   SModbusRtuLine defaultLine, const SPeriods& periods)
    : CPolledMeter(scheduler, "ModbusMeter", "Modbus meter", periods),
      mScheduler(scheduler),
      mConnector(std::move(connector)),
      mKind(kind),
      mJson(std::move(parameters)),
      mDefaultLine(std::move(defaultLine)) {}

CModbusMeasurementSource::~CModbusMeasurementSource() {
  DeInit();
}

std::string CModbusMeasurementSource::Prepare() {
  if (!mConnector) return "there is no way to Modbus meters here";
  auto parsed = ModbusMeterParameters::Parse(mKind, mJson, mDefaultLine);
  if (auto* fault = std::get_if<std::string>(&parsed)) return std::move(*fault);
  Disconnect();
  mParameters = std::get<SModbusMeterParameters>(std::move(parsed));
  SetLabel(mParameters.Label());
  mClient = mKind == EModbusConnectionKind::Tcp ? mConnector->CreateTcpClient(mParameters.server)
                                                : mConnector->CreateRtuClient(mParameters.line);
  return {};
}

CPolledMeter::Answer CModbusMeasurementSource::Poll() {
  if (std::string fault = Connect(); !fault.empty()) return fault;
  if (std::string fault = FindRegisters(); !fault.empty()) return fault;
  std::string fault = ReadRegisters();
  if (fault.empty()) {
    auto answer = mDecoder->Decode(
        mRegisters, mIsBelieved ? CModbusDecoder::EScrutiny::Loose : CModbusDecoder::EScrutiny::Strict);
    if (auto* reading = std::get_if<SMeterReading>(&answer)) {
      mIsBelieved = true;
      return std::move(*reading);
    }
    fault = std::get<std::string>(std::move(answer));
  }
  // Registers that were found on the meter itself may stand elsewhere since.
  if (mParameters.model->sunSpec != ESunSpec::No) Forget();
  return fault;
}

void CModbusMeasurementSource::Disconnect() {
  mClient.reset();
  mIsConnected = false;
}

std::string CModbusMeasurementSource::Connect() {
  if (mIsConnected) return {};
  Forget();
  const SModbusResult connected = mClient->Connect();
  if (!connected) return connected.reason;
  mIsConnected = true;
  return {};
}

void CModbusMeasurementSource::Forget() {
  mDecoder.reset();
  mIsBelieved = false;
}

std::string CModbusMeasurementSource::FindRegisters() {
  if (mDecoder) return {};
  const SModbusMeterModel& model = *mParameters.model;
  SModbusMap map = model.map;
  if (model.sunSpec != ESunSpec::No) {
    CSunSpecSearch search(mScheduler, [this](std::uint16_t address, std::span<std::uint16_t> registers) {
      return Read(EModbusTable::Holding, address, registers);
    });
    const SModbusResult found = search.Find(model.sunSpec, map);
    if (!found) return found.reason;
  }
  const std::uint8_t phases = mParameters.phases.value_or(map.phases);
  if (phases > map.phases)
    return fmt::format("parameter \"phases\" is {}, but the meter has {}", phases, map.phases);
  mTable = map.table;
  mDecoder.emplace(map, phases, mParameters.isInverted);
  mRegisters.resize(mDecoder->Plan().Registers());
  return {};
}

std::string CModbusMeasurementSource::ReadRegisters() {
  std::span<std::uint16_t> rest = mRegisters;
  for (const auto& block : mDecoder->Plan().Blocks()) {
    const SModbusResult result = Read(mTable, block.address, rest.first(block.count));
    if (!result) {
      return fmt::format("{} registers {} to {}: {}", mTable == EModbusTable::Holding ? "holding" : "input",
                         block.address, block.address + block.count - 1, result.reason);
    }
    rest = rest.subspan(block.count);
  }
  return {};
}

SModbusResult CModbusMeasurementSource::Read(EModbusTable table, std::uint16_t address,
                                             std::span<std::uint16_t> registers) {
  SModbusResult result = mClient->Read(table, mParameters.unit, address, registers);
  if (result.kind == SModbusResult::EKind::Lost) mIsConnected = false;
  return result;
}
