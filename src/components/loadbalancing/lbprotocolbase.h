#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "platform/utility/backoff.h"
#include "platform/worker/worker.h"
#include "src/communication/icommunicationlistener.h"
#include "src/components/loadbalancing/ilbpacketparser.h"
#include "src/rpc/clients/stationmeter.h"

class CLoadBalancingConfig;
class ILbPhaseHandler;

/// What the roles in a group share: the own serial number, the way out to the group, and the way to the
/// current limiter. Everything that a role does runs on its worker.
///
/// `Start`, `Enable`, `Disable` and the end one at a time. A derived class calls `Stop` in its destructor, so
/// that nobody calls it any more when its members go.
class CLbProtocolBase {
 public:
  using Endpoint = ICommunicationListener::IEndpoint;

  struct SSurroundings {
    IScheduler& scheduler;
    std::shared_ptr<ILbPhaseHandler> phaseHandler;
    std::shared_ptr<CLoadBalancingConfig> config;
    std::shared_ptr<ICommunicationListener> communication;
    std::unique_ptr<ILbPacketParser> parser;
    /// Takes the group's limit, in A, to the current limiter. On the worker.
    std::function<void(float ampere)> setLimit;
    StationMeter meter;
  };

  virtual ~CLbProtocolBase();
  CLbProtocolBase(const CLbProtocolBase&) = delete;
  CLbProtocolBase& operator=(const CLbProtocolBase&) = delete;

  /// Sets up communication; while that fails it is tried again and again, with growing pauses. Once.
  void Start();

  virtual void Enable() = 0;
  virtual void Disable() = 0;

 protected:
  explicit CLbProtocolBase(SSurroundings surroundings);
  void Stop();
};
