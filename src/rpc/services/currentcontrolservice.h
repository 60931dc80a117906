#pragma once

#include <functional>

#include "ipc/currentcontrol.service.h"

/// The "CurrentControl" service: hands each call to whoever is connected to its operation. Calling one that
/// nobody is connected to throws std::bad_function_call. Connected before the service is offered; called from
/// any thread.
class CCurrentControlService final : public ipc::ICurrentControl {
 public:
  std::function<ipc::MResult(const ipc::MCurrentControlLimit&)> mSetCurrentLimit;
  std::function<ipc::MResult(const ipc::MCurrentControlLimit&)> mClearCurrentLimit;
  std::function<ipc::MCurrentControlLimit()> mGetCurrentLimit;
  std::function<ipc::MResult(const ipc::MMeasurementSource&)> mSetMeasurementSourceConnection;
  std::function<ipc::MResult()> mClearMeasurementSourceConnection;
  std::function<ipc::MCurrentControlLimits()> mGetLimits;
  std::function<ipc::MGroup()> mGetGroup;

  ipc::MResult SetCurrentLimit(const ipc::MCurrentControlLimit& limit) override {
    return mSetCurrentLimit(limit);
  }
  ipc::MResult ClearCurrentLimit(const ipc::MCurrentControlLimit& limit) override {
    return mClearCurrentLimit(limit);
  }
  ipc::MCurrentControlLimit GetCurrentLimit(const ipc::MEmpty&) override { return mGetCurrentLimit(); }
  ipc::MResult SetMeasurementSourceConnection(const ipc::MMeasurementSource& connection) override {
    return mSetMeasurementSourceConnection(connection);
  }
  ipc::MResult ClearMeasurementSourceConnection(const ipc::MEmpty&) override {
    return mClearMeasurementSourceConnection();
  }
  ipc::MCurrentControlLimits GetLimits(const ipc::MEmpty&) override { return mGetLimits(); }
  ipc::MGroup GetGroup(const ipc::MEmpty&) override { return mGetGroup(); }
};
