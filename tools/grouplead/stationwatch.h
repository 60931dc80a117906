#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "ipc/currentcontrol.service.h"

#include "platform/rpc/communicationhost.h"
#include "platform/utility/files.h"
#include "src/components/loadbalancing/lbserialnumber.h"

/// What current control below one root says of itself. One thread.
class CStationWatch {
 public:
  /// A station that answers later is shown without its view.
  static constexpr Milliseconds kPatience{300};

  /// Throws CUsageError when the root has no station with a serial number.
  CStationWatch(IScheduler& scheduler, IFiles& files, const std::filesystem::path& root,
                std::unique_ptr<Rpc::ICommunicationHost> host);

  const LbSerialNumber& SerialNumber() const { return mSerialNumber; }
  /// Nothing: it does not answer.
  std::optional<ipc::MCurrentControlLimits> Limits();

 private:
  const LbSerialNumber mSerialNumber;
  const std::unique_ptr<Rpc::ICommunicationHost> mHost;
  const std::shared_ptr<Rpc::CClient> mPeer;
  ipc::CCurrentControlClient mCurrentControl;
};
