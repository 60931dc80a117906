#pragma once

#include <vector>

#include "ipc/currentcontrol.service.h"
#include "ipc/genericcontrol.service.h"
#include "ipc/logconfig.service.h"

#include "platform/rpc/communicationhost.h"

/// Current control as its callers see it: answers what the test wants and keeps what was asked.
class CFakeService final : public ipc::ICurrentControl, public ipc::IGenericControl, public ipc::ILogConfig {
 public:
  std::uint32_t code = 0;                        ///< of every answer that has one
  std::vector<ipc::MCurrentControlLimit> asked;  ///< limits that were set or cleared
  ipc::MCurrentControlLimits limits;
  ipc::MGroup group;
  ipc::MProcessState state;
  ipc::MLogConfig logConfig;
  std::vector<std::string> requests;  ///< to the process

  static void Offer(const std::shared_ptr<CFakeService>& service, Rpc::ICommunicationHost& host) {
    host.RegisterService("CurrentControl",
                         ipc::CreateService(std::shared_ptr<ipc::ICurrentControl>(service)));
    host.RegisterService("CurrentControlGenCtrl",
                         ipc::CreateService(std::shared_ptr<ipc::IGenericControl>(service)));
    host.RegisterService("CurrentControlLog", ipc::CreateService(std::shared_ptr<ipc::ILogConfig>(service)));
    host.Start();
  }

  ipc::MResult SetCurrentLimit(const ipc::MCurrentControlLimit& limit) override {
    asked.push_back(limit);
    return Answer();
  }
  ipc::MResult ClearCurrentLimit(const ipc::MCurrentControlLimit& limit) override {
    return SetCurrentLimit(limit);
  }
  ipc::MCurrentControlLimit GetCurrentLimit(const ipc::MEmpty&) override { return limits.setpoint(); }
  ipc::MResult SetMeasurementSourceConnection(const ipc::MMeasurementSource&) override { return Answer(); }
  ipc::MResult ClearMeasurementSourceConnection(const ipc::MEmpty&) override { return Answer(); }
  ipc::MCurrentControlLimits GetLimits(const ipc::MEmpty&) override { return limits; }
  ipc::MGroup GetGroup(const ipc::MEmpty&) override { return group; }

  ipc::MResult Initialize(const ipc::MEmpty&) override {
    return Go("Initialize", ipc::EProcessCommissioning);
  }
  ipc::MResult Enable(const ipc::MEmpty&) override { return Go("Enable", ipc::EProcessEnabling); }
  ipc::MResult Disable(const ipc::MEmpty&) override { return Go("Disable", ipc::EProcessCommissioning); }
  ipc::MResult Recover(const ipc::MEmpty&) override { return Go("Recover", ipc::EProcessCommissioning); }
  ipc::MResult Terminate(const ipc::MEmpty&) override { return Go("Terminate", ipc::EProcessTerminating); }
  ipc::MResult Alive(const ipc::MEmpty&) override { return Answer(); }
  ipc::MProcessState GetState(const ipc::MEmpty&) override { return state; }

  ipc::MLogConfig GetLogConfig(const ipc::MEmpty&) override { return logConfig; }
  ipc::MResult SetLogConfig(const ipc::MLogConfig& config) override {
    logConfig = config;
    return Answer();
  }

 private:
  ipc::MResult Answer() const {
    ipc::MResult result;
    result.set_code(code);
    return result;
  }
  ipc::MResult Go(const std::string& request, ipc::EProcessState to) {
    requests.push_back(request);
    if (code != 0) return Answer();
    state.set_state(to);
    state.set_enabled(to == ipc::EProcessEnabling);
    state.set_state_name(request);
    return Answer();
  }
};
