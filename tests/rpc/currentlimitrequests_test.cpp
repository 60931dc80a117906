#include "src/rpc/services/currentlimitrequests.h"

#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "simulation/virtualstation.h"

namespace {

using ELevel = Log::ELogLevel;

/// Requests as clients send them, at a three-phase station for 32 A whose installation allows 25 A.
class CCurrentLimitRequestsTest : public ::testing::Test {
 protected:
  CCurrentLimitRequestsTest() {
    mStation.Start();
    mStation.RunFor(std::chrono::seconds(1));
    mLog.Clear();
  }

  std::uint32_t Set(int source, std::int32_t limit, std::int32_t phases) {
    return mClient.SetCurrentLimit(Limit(source, limit, phases)).value.code();
  }
  std::uint32_t Clear(int source) { return mClient.ClearCurrentLimit(Limit(source, 0, 0)).value.code(); }

  template <class TLimit>
  static std::string Text(const TLimit& limit) {
    return fmt::format("{}: {} mA on {}", static_cast<int>(limit.source()), limit.limit(),
                       limit.number_of_phases());
  }
  std::string Answer() { return Text(mClient.GetCurrentLimit({}).value); }

  static ipc::MCurrentControlLimit Limit(int source, std::int32_t limit, std::int32_t phases) {
    ipc::MCurrentControlLimit message;
    message.set_source(static_cast<ipc::ECurrentControlSource>(source));
    message.set_limit(limit);
    message.set_number_of_phases(phases);
    return message;
  }

  CLogCapture mLog;
  CVirtualStation mStation{{.hwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3, "HwHasSocket": false})",
                            .settings = R"({"CurrentCtrlFixedChargeCurrentLimit": 25})",
                            .secrets = ""}};
  ipc::CCurrentControlClient mClient{mStation.Clients().CreateClient("CurrentControl")};
};

TEST_F(CCurrentLimitRequestsTest, OnlySomeSourcesAreForClientsToSet) {
  for (const int source : {0, 3, 10, 12, 14, 15, 16, 21}) EXPECT_EQ(Set(source, 20000, 3), 0U) << source;
  mLog.Clear();
  for (const int source : {2, 4, 5, 6, 7, 8, 9, 13}) {
    EXPECT_EQ(Set(source, 6000, 3), 1U) << source;
    EXPECT_EQ(mLog.Count("Cannot directly set a limit from source: " + std::to_string(source)), 1);
  }
  const std::vector<int> nobodys{1, 11, 17, 18, 19, 20, 22, 1000, -1};
  for (const int source : nobodys) EXPECT_EQ(Set(source, 6000, 3), 1U) << source;
  EXPECT_EQ(mLog.Texts(ELevel::Error),
            std::vector<std::string>(nobodys.size(), "Received source does not exist"));
  EXPECT_EQ(mClient.GetCurrentLimit({}).value.limit(), 20000) << "what was refused is not stored";
}

TEST_F(CCurrentLimitRequestsTest, StrangePhasesMeanTheDefaultAndNegativeLimitsAreRefused) {
  for (const int phases : {0, 2, -1, 255, 257, 1}) {
    EXPECT_EQ(Set(15, 16000, phases), 0U);
    EXPECT_EQ(mClient.GetCurrentLimit({}).value.number_of_phases(), phases == 1 ? 1 : 3) << phases;
  }
  EXPECT_EQ(Set(16, -1, 3), 1U);
  EXPECT_EQ(mLog.Texts(ELevel::Warning),
            std::vector<std::string>{
                "A limit of -1 mA from source ECurrentControlLocalModbusApi is negative, ignoring"});
  EXPECT_EQ(Clear(16), 1U) << "nothing was stored";
}

TEST_F(CCurrentLimitRequestsTest, GetAnswersWhoDecidesAndClearTakesAnySource) {
  EXPECT_EQ(Set(15, 16100, 3), 0U);
  EXPECT_EQ(Answer(), "15: 16100 mA on 3");
  for (const int source : {15, 3, 8}) EXPECT_EQ(Clear(source), 0U) << "even a component's own limit";
  EXPECT_EQ(mClient.GetCurrentLimit({}).value.limit(), 999000);
}

TEST_F(CCurrentLimitRequestsTest, LimitsTellWhyTheVehicleGetsWhatItGets) {
  EXPECT_EQ(Set(10, 10000, 3), 0U);
  mStation.RunFor(std::chrono::seconds(7));
  EXPECT_EQ(Set(15, 12000, 1), 0U);
  const auto answer = mClient.GetLimits({}).value;
  ASSERT_EQ(answer.limits_size(), 4);
  EXPECT_EQ(Text(answer.limits(2)), "10: 10000 mA on 3");
  EXPECT_EQ(answer.limits(2).unchanged_for_ms(), 7000);
  EXPECT_EQ(answer.current_source(), ipc::ECurrentControlOcppSmartCharging);
  EXPECT_EQ(answer.phase_source(), ipc::ECurrentControlLocalRestApi);
  EXPECT_EQ(Text(answer.setpoint()), "10: 10000 mA on 1");
  EXPECT_EQ(Text(answer.runner_up()), "15: 12000 mA on 1");
  const auto group = mClient.GetGroup({});
  EXPECT_TRUE(group.IsOk() && group.value.SerializeAsString().empty()) << "it is in none";
}

}  // namespace
