#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/mdns/serviceannouncement.h"
#include "platform/worker/worker.h"
#include "simulation/homewizardpages.h"

struct MHD_Daemon;

/// A HomeWizard meter on the machine's own network: an HTTP server, announced where that is possible. While
/// the meter is away it does neither.
class CHomeWizardServer {
 public:
  struct SOptions {
    std::uint16_t port = 0;          ///< 0: any that is free, and the same one ever after
    bool isOnAllInterfaces = false;  ///< else on the loopback one alone, and not announced
    HomeWizardPages::SDevice device{};
  };

  /// How soon it follows what becomes of the meter.
  static constexpr Milliseconds kLook{100};

  /// The meter must outlive it. Serves nothing before `Start`.
  CHomeWizardServer(IScheduler& scheduler, CHouseMeter& meter, SOptions options);
  ~CHomeWizardServer();

  /// False, and an error line, when the port cannot be listened at; it is tried again.
  bool Start();
  void Stop();

  /// Where it listens, or did last; 0 before that. Any thread.
  std::uint16_t Port() const { return mPort; }

 private:
  struct SFree {
    void operator()(MHD_Daemon* daemon) const;
  };
  using Daemon = std::unique_ptr<MHD_Daemon, SFree>;

  void Turn();
  bool Listen();
  Daemon CreateDaemon();
  void Announce();
  void Close();

  // Constant after construction.
  CHouseMeter& mMeter;
  const SOptions mOptions;

  std::atomic<std::uint16_t> mPort;

  // Used on the worker, or while it stands still.
  Daemon mDaemon;
  std::unique_ptr<IServiceAnnouncement> mAnnouncement;
  bool mHasFailed = false;
  CCallHandle mTurns;

  CWorker mWorker;  // stops before the rest goes
};
