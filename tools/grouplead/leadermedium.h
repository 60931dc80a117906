#pragma once

#include <memory>
#include <stdexcept>

#include "platform/utility/files.h"
#include "src/communication/icommunicationlistener.h"
#include "src/components/loadbalancing/groupaccess.h"
#include "src/components/loadbalancing/ilbpacketparser.h"
#include "tools/grouplead/groupleadoptions.h"

/// Why a group cannot be led.
class CCannotLead : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The way to the stations, and the packets for it.
struct SLeaderMedium {
  std::shared_ptr<ICommunicationListener> communication;
  std::unique_ptr<ILbPacketParser> parser;
};

/// Reads the password and leaves no copy of it behind. Throws CUsageError and CCannotLead. The scheduler and
/// the ways outlive what is made.
SLeaderMedium CreateLeaderMedium(const SGroupLeadOptions& options, IScheduler& scheduler, IFiles& files,
                                 const SGroupAccess& access);
