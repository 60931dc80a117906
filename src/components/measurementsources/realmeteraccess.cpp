#include "src/components/measurementsources/realmeteraccess.h"

#include "platform/http/curlhttpclient.h"
#include "platform/modbus/modbusconnector.h"
#include "src/communication/realrs485.h"
#include "src/components/measurementsources/ade7854.h"

SMeterAccess RealMeterAccess(IScheduler& scheduler, const std::filesystem::path& root) {
  return {.createCtMeter = Hal::CAde7854::Creator(root.string()),
          .createRs485 = RealRs485(scheduler),
          .createHttpClient = [] { return std::make_unique<CCurlHttpClient>(); },
          .discovery = CreateServiceDiscovery(),
          .modbus = std::make_shared<CModbusConnector>(scheduler)};
}
