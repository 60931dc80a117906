#include "src/rpc/services/processcontrolservice.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "ipc/genericcontrol.service.h"

#include "simulation/virtualstation.h"

namespace {

TEST(ProcessControlService, AnswersTheSupervisor) {
  CVirtualStation station({});
  station.Start();
  station.RunFor(std::chrono::seconds(1));
  ipc::CGenericControlClient client(station.Clients().CreateClient("CurrentControlGenCtrl"));
  const auto state = [&client] {
    const auto answer = client.GetState({}).value;
    return fmt::format("{} {}{}", answer.state(), answer.state_name(), answer.enabled() ? ", enabled" : "");
  };
  EXPECT_EQ(client.Initialize({}).value.code(), 1U);
  EXPECT_EQ(client.Recover({}).value.code(), 1U);
  EXPECT_EQ(client.Disable({}).value.code(), 0U);
  EXPECT_EQ(state(), "2 Commissioning");
  EXPECT_EQ(client.Enable({}).value.code(), 0U);
  EXPECT_EQ(state(), "3 Enabling, enabled");
  EXPECT_EQ(client.Alive({}).value.code(), 0U);
  EXPECT_EQ(client.Terminate({}).value.code(), 0U);
  EXPECT_EQ(state(), "6 Terminating");
}

}  // namespace
