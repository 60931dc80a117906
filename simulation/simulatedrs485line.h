#pragma once

#include <memory>
#include <utility>

#include "platform/worker/worker.h"
#include "simulation/housemeter.h"
#include "src/communication/nocommunicationlistener.h"
#include "src/communication/rs485endpoint.h"

/// The station's serial line with the house's meter at its end, for virtual time: a telegram per second, in
/// the pieces in which a line brings them. Nothing can be sent to it.
class CSimulatedRs485Line final : public CNoCommunicationListener {
 public:
  static constexpr Milliseconds kInterval{1000};

  /// The meter must outlive the line.
  CSimulatedRs485Line(IScheduler& scheduler, CHouseMeter& meter);
  ~CSimulatedRs485Line() override;

  /// Fails while the line cannot be had.
  bool Start() override;
  void Stop() override;
  void SetDataReceivedHandler(DataReceivedHandler handler) override { mHandler = std::move(handler); }

  /// Whether the station has the line at all. In between of its calls only.
  void SetPresent(bool isPresent) { mIsPresent = isPresent; }

 private:
  using Endpoint = CCommunicationListener::CEndpoint;

  void SendTelegram();

  CHouseMeter& mMeter;
  const std::shared_ptr<Endpoint> mEndpoint = std::make_shared<Endpoint>();
  DataReceivedHandler mHandler;
  bool mIsPresent = true;
  CCallHandle mSending;
  CWorker mWorker;  // stops before the rest goes
};
