#include "src/components/processactionhandler.h"

#include "components/componentstation.h"
#include "platform/rpc/result.h"
#include "src/components/currentlimiter.h"
#include "src/components/limiter.h"
#include "src/rpc/clients/chargecontrolservice.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
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

class CChargeControl : public IChargeControlService {
 public:
  explicit CChargeControl(Done& done) : mDone(done) {}
  ipc::MResult SetChargeCurrent(std::uint32_t milliAmpere, std::uint8_t) override {
    mDone.push_back(std::to_string(milliAmpere) + " mA");
    return Rpc::Failure();
  }
  ipc::MResult EnsureTaken() override { return Rpc::ToResult(takes); }
  void StopCharging() override {}
  bool takes = true;

 private:
  Done& mDone;
};

class CProcessActionHandlerTest : public ::testing::Test, protected SComponentStation {
 protected:
  void Set(const std::string& type, const std::string& parameters) {
    ipc::MMeasurementSource connection;
    connection.set_type(type);
    connection.set_parameters(parameters);
    handler.SetMeasurementSourceConnection(connection);
  }
  /// Of blackout protection, solar charging and the household's power limit.
  Done Stored() {
    Done stored;
    for (const auto* feature : {"Bop", "SolarCharging", "UserDefinedHouseholdPowerLimit"}) {
      stored.push_back(settings->GetString(std::string(feature) + "SourceParameters", ""));
    }
    return stored;
  }

  Done done;
  std::shared_ptr<CChargeControl> chargeControl = std::make_shared<CChargeControl>(done);
  std::shared_ptr<CCurrentLimiter> limiter =
      std::make_shared<CCurrentLimiter>(time, config, chargeControl, CCurrentLimiter::SSignals{});
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
  EXPECT_THAT(done, ElementsAre("peers", "+a", "+b", "-b", "-a", "peers", "+a", "+b", "0 mA", "-b", "-a"));
  EXPECT_TRUE(limiter->HasLimit(ipc::ECurrentControlHardwareLimit));
  EXPECT_THAT(Told(), EndsWith("; The vehicle is left with a setpoint of 0 A"));
  chargeControl->takes = false;
  handler.Terminate();
  EXPECT_THAT(Told(), HasSubstr("did not take the last setpoint of 0 A"));
}

TEST_F(CProcessActionHandlerTest, StoresAConnectionForTheFeaturesThatUseIt) {
  settings->Set("BopSource", "p1extender");
  settings->Set("SolarChargingSource", "homewizard");
  settings->Set("UserDefinedHouseholdPowerLimitSource", "homewizard");
  settings->Set("BopSourceParameters", R"({"line":2})");
  Set("homewizard", R"({"address":"10.0.0.7"} // seen by mDNS)");
  const auto* set = R"({"address":"10.0.0.7"})";
  EXPECT_THAT(Stored(), ElementsAre(R"({"line":2})", set, set));
  settings->Set("UserDefinedHouseholdPowerLimitSource", "CT");
  for (int repetition = 0; repetition < 2; ++repetition) handler.ClearMeasurementSourceConnection();
  EXPECT_THAT(Stored(), ElementsAre("{}", "{}", set));
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
    Set(type, parameters);
    EXPECT_THAT(Told(), HasSubstr(warning));
  }
  EXPECT_THAT(settings->Writes(), testing::IsEmpty());
}

}  // namespace
