#include "src/components/measurementsources/realmeteraccess.h"

#include "platform/http/curlhttpclient.h"
#include "platform/modbus/modbusconnector.h"
#include "platform/worker/worker.h"
#include "src/communication/communicationlistener.h"
#include "src/communication/rs485hal.h"
#include "src/components/measurementsources/ade7854.h"

SMeterAccess RealMeterAccess(IScheduler& scheduler, const std::filesystem::path& root) {
  return {.createCtMeter = Hal::CAde7854::Creator(root.string()),
          .createRs485 =
              [&scheduler](const SRs485Line& line) {
                return std::make_shared<CCommunicationListener>(
                    std::make_unique<CRs485Hal>(line), std::make_unique<CWorker>(scheduler, "Rs485"));
              },
          .createHttpClient = [] { return std::make_unique<CCurlHttpClient>(); },
          .discovery = CreateServiceDiscovery(),
          .modbus = std::make_shared<CModbusConnector>(scheduler)};
}
