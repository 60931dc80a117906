#include "src/communication/realrs485.h"

#include <memory>

#include "platform/worker/worker.h"
#include "src/communication/communicationlistener.h"
#include "src/communication/rs485hal.h"

Rs485Creator RealRs485(IScheduler& scheduler) {
  return [&scheduler](const SRs485Line& line) {
    return std::make_shared<CCommunicationListener>(std::make_unique<CRs485Hal>(line),
                                                    std::make_unique<CWorker>(scheduler, "Rs485"));
  };
}
