#include "src/rpc/services/processcontrolservice.h"

#include <gmock/gmock.h>

#include "platform/worker/virtualscheduler.h"
#include "statemachines/process/processactions.h"
#include "statemachines/process/processstatemachine.h"

namespace {

using ::testing::NiceMock;
using ::testing::Return;

class CMockActions : public IProcessActions {
 public:
  MOCK_METHOD(bool, Initialize, (), (override));
  MOCK_METHOD(bool, Enable, (), (override));
  MOCK_METHOD(bool, Recover, (), (override));
  MOCK_METHOD(void, Disable, (), (override));
  MOCK_METHOD(void, Terminate, (), (override));
  MOCK_METHOD(void, SetMeasurementSourceConnection, (const ipc::MMeasurementSource&), (override));
  MOCK_METHOD(void, ClearMeasurementSourceConnection, (), (override));
};

TEST(ProcessControlService, AnswersTheSupervisor) {
  CVirtualScheduler time;
  NiceMock<CMockActions> actions;
  EXPECT_CALL(actions, Initialize).WillOnce(Return(false));
  EXPECT_CALL(actions, Recover).WillOnce(Return(true));
  EXPECT_CALL(actions, Enable).WillOnce(Return(true));
  EXPECT_CALL(actions, Disable);
  EXPECT_CALL(actions, Terminate);
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
