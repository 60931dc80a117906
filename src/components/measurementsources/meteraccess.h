#pragma once

#include <memory>

#include "platform/http/httpclient.h"
#include "platform/mdns/servicediscovery.h"
#include "platform/modbus/modbusclient.h"
#include "src/communication/nocommunicationlistener.h"
#include "src/communication/rs485line.h"
#include "src/components/measurementsources/ctmeter.h"

/// The ways to meters, real or modelled. One that is not given makes the meters behind it unusable, nothing
/// else.
struct SMeterAccess {
  CtMeterCreator createCtMeter = NoCtMeter;
  Rs485Creator createRs485 = NoRs485;
  HttpClientCreator createHttpClient = {};
  std::shared_ptr<IServiceDiscovery> discovery = std::make_shared<CNoServiceDiscovery>();
  std::shared_ptr<IModbusConnector> modbus = {};
};
