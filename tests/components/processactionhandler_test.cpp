#include "src/components/processactionhandler.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/rpc/result.h"
#include "platform/worker/virtualscheduler.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/currentlimiter.h"
#include "src/components/limiter.h"
#include "src/rpc/clients/chargecontrolservice.h"
#include "support/memoryconfig.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Done = std::vector<std::string>;

class CComponent : public ILimiter {
 public:
  CComponent(std::string name, Done& done) : mName(std::move(name)), mDone(done) {}
  void Enable() override { mDone.push_back("+" + mName); }
  void Disable() override { mDone.push_back("-" + mName); }
  SLimit GetLimit() override { return {}; }

 private:
  const std::string mName;
  Done& mDone;
};

class CLimiter : public CCurrentLimiter {
 public:
  CLimiter(const IClock& clock, std::shared_ptr<CCurrentControlConfig> config, Done& done)
      : CCurrentLimiter(clock, std::move(config), nullptr, {}), mDone(done) {}
  bool SetLimitWithDefaultPhases(ipc::ECurrentControlSource source, float current) override {
    mDone.push_back("source " + std::to_string(source) + (current == 0.0F ? " 0 A" : " current"));
    return true;
  }

 private:
  Done& mDone;
};

class CChargeControl : public IChargeControlService {
 public:
  ipc::MResult SetChargeCurrent(std::uint32_t, std::uint8_t) override { return Rpc::Success(); }
  ipc::MResult EnsureTaken() override { return Rpc::ToResult(takes); }
  void StopCharging() override {}
  bool takes = true;
};

class CProcessActionHandlerTest : public ::testing::Test {
 protected:
  void Set(const std::string& type, const std::string& parameters) {
    ipc::MMeasurementSource connection;
    connection.set_type(type);
    connection.set_parameters(parameters);
    handler.SetMeasurementSourceConnection(connection);
  }
  std::string Stored(const char* feature) {
    return settings->GetString(std::string(feature) + "SourceParameters", "");
  }

  CVirtualScheduler time;
  CLogCapture log{Log::ELogLevel::Info};
  Done done;
  std::shared_ptr<CMemoryConfig> settings = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CCurrentControlConfig> config =
      std::make_shared<CCurrentControlConfig>(settings, std::make_shared<CMemoryConfig>());
  std::shared_ptr<CLimiter> limiter = std::make_shared<CLimiter>(time, config, done);
  std::shared_ptr<CChargeControl> chargeControl = std::make_shared<CChargeControl>();
  CProcessActionHandler handler{
      config,
      limiter,
      chargeControl,
      {std::make_shared<CComponent>("a", done), std::make_shared<CComponent>("b", done)},
      [this] { done.emplace_back("peers"); }};
};

TEST_F(CProcessActionHandlerTest, EnablesInOrderDisablesInReverseAndLeavesTheVehicleSafe) {
  EXPECT_TRUE(handler.Initialize());
  EXPECT_TRUE(handler.Enable());
  EXPECT_TRUE(handler.Recover());
  handler.Disable();
  EXPECT_TRUE(handler.Enable());
  handler.Terminate();
  EXPECT_THAT(done, ElementsAre("peers", "+a", "+b", "-b", "-a", "peers", "+a", "+b", "source 8 0 A", "-b",
                                "-a", "source 8 0 A"));
  EXPECT_THAT(log.Texts(Log::ELogLevel::Info), ElementsAre("The vehicle is left with a setpoint of 0 A"));
  chargeControl->takes = false;
  handler.Terminate();
  EXPECT_THAT(log.Texts(Log::ELogLevel::Error),
              ElementsAre(HasSubstr("did not take the last setpoint of 0 A")));
}

TEST_F(CProcessActionHandlerTest, StoresAConnectionForTheFeaturesThatUseIt) {
  settings->Set("BopSource", "p1extender");
  settings->Set("SolarChargingSource", "homewizard");
  settings->Set("UserDefinedHouseholdPowerLimitSource", "homewizard");
  settings->Set("BopSourceParameters", R"({"line":2})");
  Set("homewizard", R"({"address":"10.0.0.7"} // seen by mDNS)");
  EXPECT_EQ(Stored("Bop"), R"({"line":2})");
  EXPECT_EQ(Stored("SolarCharging"), R"({"address":"10.0.0.7"})");
  EXPECT_EQ(Stored("UserDefinedHouseholdPowerLimit"), R"({"address":"10.0.0.7"})");

  settings->Set("UserDefinedHouseholdPowerLimitSource", "CT");
  for (int repetition = 0; repetition < 2; ++repetition) handler.ClearMeasurementSourceConnection();
  EXPECT_EQ(Stored("Bop"), "{}");
  EXPECT_EQ(Stored("SolarCharging"), "{}");
  EXPECT_EQ(Stored("UserDefinedHouseholdPowerLimit"), R"({"address":"10.0.0.7"})");
  EXPECT_EQ(log.Texts(Log::ELogLevel::Info).size(), 4U);
}

TEST_F(CProcessActionHandlerTest, SaysWhatIsWrongWithAConnection) {
  settings->Set("BopSource", "ct");
  settings->Set("SolarChargingSource", "modbustcp");
  settings->Set("UserDefinedHouseholdPowerLimitSource", "modbustcp");
  const struct {
    std::string type, parameters, warning;
  } kCases[] = {{"ct", "{}", R"(type "ct" ignored: its type is none)"},
                {"a\nb", "{}", R"(type "a\nb" ignored)"},
                {"modbustcp", R"({"type":"no such meter"})", "name no model"},
                {"homewizard", "[]", "no JSON object"},
                {"homewizard", R"({"a":)" + std::string(3000, '['), "no JSON object"},
                {"homewizard", R"({"address":{}})", R"(parameter "address" is not a plain value)"},
                {"homewizard", std::string(4097, ' '), "have 4097 bytes"},
                {"homewizard", "", "no feature uses it"}};
  for (const auto& [type, parameters, warning] : kCases) {
    log.Clear();
    Set(type, parameters);
    EXPECT_THAT(log.Texts(Log::ELogLevel::Warning), ElementsAre(HasSubstr(warning)));
  }
  EXPECT_THAT(settings->Writes(), testing::IsEmpty());
}

}  // namespace
