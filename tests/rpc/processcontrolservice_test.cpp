#include "src/rpc/services/processcontrolservice.h"

#include <gtest/gtest.h>

#include "platform/worker/virtualscheduler.h"
#include "statemachines/process/processactions.h"
#include "statemachines/process/processstatemachine.h"

namespace {

/// Of all the work, only initialising fails.
class CActions : public IProcessActions {
 public:
  bool Initialize() override { return false; }
  bool Enable() override { return true; }
  bool Recover() override { return true; }
  void Disable() override {}
  void Terminate() override {}
  void SetMeasurementSourceConnection(const ipc::MMeasurementSource&) override {}
  void ClearMeasurementSourceConnection() override {}
};

TEST(ProcessControlService, AnswersTheSupervisor) {
  CVirtualScheduler time;
  CActions actions;
  CProcessStateMachine machine(time, actions, [] {});
  machine.Start();
  CProcessControlService service(machine);
  const auto expectState = [&](const char* name, int state, bool enabled) {
    const auto answer = service.GetState({});
    EXPECT_EQ(answer.state_name(), name);
    EXPECT_EQ(answer.state(), state);
    EXPECT_EQ(answer.enabled(), enabled);
  };

  EXPECT_EQ(service.Initialize({}).code(), 1U);
  expectState("Recovering", 5, false);
  EXPECT_EQ(service.Recover({}).code(), 0U);
  EXPECT_EQ(service.Enable({}).code(), 0U);
  expectState("Enabling", 3, true);
  EXPECT_EQ(service.Disable({}).code(), 0U);
  expectState("Commissioning", 2, false);
  EXPECT_EQ(service.Terminate({}).code(), 0U);
  machine.Stop();
  EXPECT_EQ(service.Terminate({}).code(), 1U);
  EXPECT_EQ(service.Alive({}).code(), 0U);
}

}  // namespace
