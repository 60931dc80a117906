#pragma once

#include <memory>
#include <span>
#include <string>

#include "platform/utility/backoff.h"
#include "platform/utility/filedescriptor.h"
#include "platform/worker/worker.h"
#include "src/communication/communicationhal.h"
#include "src/communication/icommunicationlistener.h"

/// Listens on a device. Its worker waits for bytes and calls the handler; sends write to the device on the
/// caller's thread.
///
/// A device that is lost while listening is told once and opened again by and by, until it is heard again,
/// which is told too, or until `Stop`. `Start`, `Stop` and the setting of the handler one at a time, the rest
/// from any thread.
class CCommunicationListener final : public ICommunicationListener {
 public:
  /// The pauses before a lost device is opened again.
  static constexpr CBackOff kPauses{Milliseconds{1000}, Milliseconds{30000}};

  class CEndpoint;

  /// Nobody else may use the worker.
  CCommunicationListener(std::unique_ptr<ICommunicationHal> hal, std::unique_ptr<CWorker> worker,
                         const CBackOff& pauses = kPauses);
  ~CCommunicationListener() override;

  /// Starting a started one does nothing. Repeated failures are told once.
  bool Start() override;
  /// May be followed by `Start`.
  void Stop() override;
  bool BroadcastData(std::span<const std::uint8_t> data) override;
  Milliseconds GetResponseTime(bool extended) const override;
  std::uint32_t GetCapacity() const override;
  void SetDataReceivedHandler(DataReceivedHandler handler) override;

 private:
  enum class EWait { Readable, Again, Ended, Failed };

  bool OpenDevice();
  bool CreateEndEvent();
  void CloseDevice();
  bool Fail(std::string failure);

  // On the worker.
  void ReceiveLoop();
  EWait Await() const;
  bool Receive();
  void Deliver(std::span<const std::uint8_t> data);
  void LoseDevice(const std::string& reason);
  void OpenAgain();
  void TryToOpenAgain();

  const std::unique_ptr<ICommunicationHal> mHal;
  const std::shared_ptr<CEndpoint> mEndpoint;
  bool mIsStarted = false;
  bool mIsStartFailureTold = false;  // since the last successful start

  // Used on the worker, or while it stands still.
  CFileDescriptor mEndEvent;
  DataReceivedHandler mHandler;
  CBackOff mBackOff;
  CCallHandle mNextAttempt;
  bool mIsLost = false;  // and was not heard again since
  bool mIsMissingHandlerTold = false;
  std::string mFailure;  // of the newest attempt to listen, as far as it is not the device's own

  const std::unique_ptr<CWorker> mWorker;  // stops before the rest goes
};
