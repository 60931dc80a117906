#include "src/rpc/services/processcontrolservice.h"

#include <gtest/gtest.h>

#include "ipc/genericcontrol.service.h"

#include "simulation/virtualstation.h"

namespace {

TEST(ProcessControlService, AnswersTheSupervisor) {
  CVirtualStation station({});
  station.Start();
  station.RunFor(std::chrono::seconds(1));
  ipc::CGenericControlClient client(station.Clients().CreateClient("CurrentControlGenCtrl"));
  const auto expectState = [&](const char* name, int state, bool enabled) {
    const auto answer = client.GetState({}).value;
    EXPECT_EQ(answer.state_name(), name);
    EXPECT_EQ(answer.state(), state);
    EXPECT_EQ(answer.enabled(), enabled);
  };
  expectState("Enabling", 3, true);
  EXPECT_EQ(client.Initialize({}).value.code(), 1U);
  EXPECT_EQ(client.Recover({}).value.code(), 1U);
  EXPECT_EQ(client.Disable({}).value.code(), 0U);
  expectState("Commissioning", 2, false);
  EXPECT_EQ(client.Enable({}).value.code(), 0U);
  expectState("Enabling", 3, true);
  EXPECT_EQ(client.Alive({}).value.code(), 0U);
  EXPECT_EQ(client.Terminate({}).value.code(), 0U);
  expectState("Terminating", 6, false);
}

}  // namespace
