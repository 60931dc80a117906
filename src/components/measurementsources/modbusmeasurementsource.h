#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <json/value.h>

#include "platform/modbus/modbusclient.h"
#include "src/components/measurementsources/modbusdecoder.h"
#include "src/components/measurementsources/modbusmeterparameters.h"
#include "src/components/measurementsources/polledmeter.h"

/// A smart meter that is read over Modbus; the table of models tells how.
class CModbusMeasurementSource final : public CPolledMeter {
 public:
  using SPeriods = CPolledMeter::SPeriods;

  /// A connector that is null: there is no way to such meters.
  CModbusMeasurementSource(IScheduler& scheduler, std::shared_ptr<IModbusConnector> connector,
                           EModbusConnectionKind kind, Json::Value parameters, SModbusRtuLine defaultLine,
                           const SPeriods& periods);
  ~CModbusMeasurementSource() override;

 private:
  std::string Prepare() override;
  Answer Poll() override;
  void Disconnect() override;

  // Empty, or why not.
  std::string Connect();
  std::string FindRegisters();
  std::string ReadRegisters();

  SModbusResult Read(EModbusTable table, std::uint16_t address, std::span<std::uint16_t> registers);
  void Forget();

  IScheduler& mScheduler;
  const std::shared_ptr<IModbusConnector> mConnector;
  const EModbusConnectionKind mKind;
  const Json::Value mJson;
  const SModbusRtuLine mDefaultLine;

  // Used on the worker, or while it stands still.
  SModbusMeterParameters mParameters;
  std::unique_ptr<IModbusClient> mClient;
  bool mIsConnected = false;
  std::optional<CModbusDecoder> mDecoder;  // nothing: it is not known where the registers are
  EModbusTable mTable = EModbusTable::Holding;
  bool mIsBelieved = false;  // the registers hold what they are taken for
  std::vector<std::uint16_t> mRegisters;
};
