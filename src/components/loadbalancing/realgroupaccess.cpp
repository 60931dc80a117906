#include "src/components/loadbalancing/realgroupaccess.h"

#include "platform/crypto/wolfrandom.h"
#include "platform/network/asionetwork.h"
#include "platform/utility/wallclock.h"
#include "src/communication/realrs485.h"

SGroupAccess RealGroupAccess(IScheduler& scheduler) {
  return {.createRs485 = RealRs485(scheduler),
          .network = std::make_shared<CAsioNetwork>(),
          .createRandom = [] { return std::make_unique<CWolfRandom>(); },
          .wallClock = WallClockNow};
}
