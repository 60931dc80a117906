#include "src/components/loadbalancing/loadbalancingconfig.h"

#include <fstream>
#include <iterator>
#include <limits>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "support/memoryconfig.h"

namespace {

using C = CLoadBalancingConfig;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CLoadBalancingConfigTest : public ::testing::Test {
 protected:
  std::vector<std::string> Lines() {
    std::vector<std::string> lines;
    for (const auto& line : mLog.Lines()) {
      lines.push_back((line.level == Log::ELogLevel::Error ? "E " : "W ") + line.text);
    }
    mLog.Clear();
    return lines;
  }

  std::shared_ptr<CMemoryConfig> mSettings = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CMemoryConfig> mHwinfo = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CMemoryConfig> mSecrets = std::make_shared<CMemoryConfig>();
  CLogCapture mLog{Log::ELogLevel::Info};
  const CLoadBalancingConfig mConfig{mSettings, mHwinfo, mSecrets};
};

template <typename TValue>
std::string ToText(const TValue& value) {
  return fmt::format("{}", value);
}
std::string ToText(const std::optional<std::string>& value) {
  return value.value_or("none");
}
std::string ToText(ELbInterface value) {
  return fmt::format("{}", static_cast<int>(value));
}
template <auto kGetter>
std::string Get(const C& config) {
  return ToText((config.*kGetter)());
}

TEST_F(CLoadBalancingConfigTest, EveryValueGivesItsResultAndEachProblemOneLine) {
  const std::string negative = " is negative or not defined in settings.json";
  const std::string roleMissing =
      "W GroupLoadBalancingRole is empty or not defined in settings.json. Defaulting to 'Follower'.";
  const std::string lineMissing =
      "W GroupLoadBalancingInterface is empty or not defined in settings.json. Defaulting to 'RS485'.";
  const std::string snMissing = "E MainboardSn is empty or not defined in hwinfo.json";
  const auto badRole = [](const std::string& value) {
    return "W Invalid value '" + value +
           "' for GroupLoadBalancingRole in settings.json. Defaulting to 'Follower'.";
  };
  const auto badSn = [](const std::string& value) {
    return "E Invalid value '" + value + "' for MainboardSn in hwinfo.json";
  };
  const auto nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    CMemoryConfig& store;
    const char* key;
    std::string (*get)(const C&);
    Json::Value value;  // null: absent
    std::string result;
    std::string line = {};
  } kCases[] = {
      {*mSettings, "GroupLoadBalancingEnable", Get<&C::GetEnable>, {}, "false"},
      {*mSettings, "GroupLoadBalancingEnable", Get<&C::GetEnable>, true, "true"},
      {*mSettings, "GroupLoadBalancingGroupSize", Get<&C::GetGroupSize>, {}, "0"},
      {*mSettings, "GroupLoadBalancingGroupSize", Get<&C::GetGroupSize>, -3, "-3"},
      {*mHwinfo, "HwHasMeter", Get<&C::GetHwHasMeter>, {}, "false"},
      {*mHwinfo, "HwHasMeter", Get<&C::GetHwHasMeter>, true, "true"},
      {*mSettings, "VDEPhaseImbalanceLimit", Get<&C::GetPhaseImbalanceLimit>, {}, "0"},
      {*mSettings, "VDEPhaseImbalanceLimit", Get<&C::GetPhaseImbalanceLimit>, 20, "20"},
      {*mSettings, "VDEPhaseImbalanceEnable", Get<&C::GetPhaseImbalanceEnable>, {}, "false"},
      {*mSettings, "VDEPhaseImbalanceEnable", Get<&C::GetPhaseImbalanceEnable>, true, "true"},
      {*mSettings, "PhaseRotation", Get<&C::GetPhaseRotation>, {}, "RST"},
      {*mSettings, "PhaseRotation", Get<&C::GetPhaseRotation>, "STR", "STR"},
      {*mSettings, "PhaseRotation", Get<&C::GetPhaseRotation>, "", "RST",
       "W PhaseRotation is empty or not defined in settings.json. Defaulting to 'RST'."},
      {*mSettings, "GroupLoadBalancingRole", Get<&C::GetRole>, "Leader", "true"},
      {*mSettings, "GroupLoadBalancingRole", Get<&C::GetRole>, "Follower", "false"},
      {*mSettings, "GroupLoadBalancingRole", Get<&C::GetRole>, {}, "false", roleMissing},
      {*mSettings, "GroupLoadBalancingRole", Get<&C::GetRole>, "leader", "false", badRole("leader")},
      {*mSettings, "GroupLoadBalancingRole", Get<&C::GetRole>, "Leader \n", "false", badRole("Leader ?")},
      {*mSettings, "GroupLoadBalancingInterface", Get<&C::GetInterface>, "RS485", "0"},
      {*mSettings, "GroupLoadBalancingInterface", Get<&C::GetInterface>, "Ethernet", "1"},
      {*mSettings, "GroupLoadBalancingInterface", Get<&C::GetInterface>, "Wlan", "2"},
      {*mSettings, "GroupLoadBalancingInterface", Get<&C::GetInterface>, "WlanAp", "3"},
      {*mSettings, "GroupLoadBalancingInterface", Get<&C::GetInterface>, {}, "0", lineMissing},
      {*mSettings, "GroupLoadBalancingInterface", Get<&C::GetInterface>, "eth0", "0",
       "W Invalid value 'eth0' for GroupLoadBalancingInterface in settings.json. Defaulting to 'RS485'."},
      {*mSettings, "GroupLoadBalancingGroupId", Get<&C::GetGroupId>, {}, "0"},
      {*mSettings, "GroupLoadBalancingGroupId", Get<&C::GetGroupId>, 65535, "65535"},
      {*mSettings, "GroupLoadBalancingGroupId", Get<&C::GetGroupId>, 65536, "0",
       "W The value '65536' is too big for GroupLoadBalancingGroupId. Defaulting to '0'."},
      {*mSettings, "GroupLoadBalancingFallbackCurrent", Get<&C::GetFallbackCurrent>, 6.5, "6.5"},
      {*mSettings, "GroupLoadBalancingFallbackCurrent", Get<&C::GetFallbackCurrent>, 3e38, "3e+38"},
      {*mSettings,
       "GroupLoadBalancingFallbackCurrent",
       Get<&C::GetFallbackCurrent>,
       {},
       "0",
       "W GroupLoadBalancingFallbackCurrent" + negative},
      {*mSettings, "GroupLoadBalancingFallbackCurrent", Get<&C::GetFallbackCurrent>, nan, "0",
       "W GroupLoadBalancingFallbackCurrent" + negative},
      {*mSettings, "GroupLoadBalancingMaxCurrent", Get<&C::GetCurrentCapacity>, 100, "100"},
      {*mSettings, "GroupLoadBalancingMaxCurrent", Get<&C::GetCurrentCapacity>, -0.5, "0",
       "E GroupLoadBalancingMaxCurrent" + negative},
      {*mSecrets, "GroupLoadBalancingPassword", Get<&C::GetPassword>, "abc", "abc"},
      {*mSecrets,
       "GroupLoadBalancingPassword",
       Get<&C::GetPassword>,
       {},
       "",
       "W GroupLoadBalancingPassword is empty or not defined in secrets.json."},
      {*mHwinfo, "MainboardSn", Get<&C::GetMainboardSn>, "12-34-abc-de1", "12-34-ABC-DE1"},
      {*mHwinfo, "MainboardSn", Get<&C::GetMainboardSn>, {}, "none", snMissing},
      {*mHwinfo, "MainboardSn", Get<&C::GetMainboardSn>, "12-34-abc-de1x", "none", badSn("12-34-abc-de1x")},
      {*mHwinfo, "MainboardSn", Get<&C::GetMainboardSn>, "1-34-abc-de1", "none", badSn("1-34-abc-de1")},
      {*mHwinfo, "MainboardSn", Get<&C::GetMainboardSn>, std::string(9999, '1'), "none",
       badSn(std::string(200, '1') + "...")},
  };
  for (const auto& item : kCases) {
    item.store.Set(item.key, item.value);
    for (int again = 0; again < 3; ++again) EXPECT_EQ(item.get(mConfig), item.result) << item.key;
    std::vector<std::string> expected;
    if (!item.line.empty()) expected.push_back(item.line);
    EXPECT_EQ(Lines(), expected) << item.key;
  }
}

TEST_F(CLoadBalancingConfigTest, AProblemThatComesBackIsToldAgain) {
  const std::string line = "W The value '70000' is too big for GroupLoadBalancingGroupId. Defaulting to '0'.";
  for (const int groupId : {70000, 7, 70000}) {
    mSettings->Set("GroupLoadBalancingGroupId", groupId);
    mConfig.GetGroupId();
    mConfig.GetGroupId();
  }
  EXPECT_THAT(Lines(), ElementsAre(line, line));
}

TEST_F(CLoadBalancingConfigTest, TheBoardMayNameTheAdapterOfAnyNetwork) {
  const auto adapters = [&] {
    std::vector<std::string> all;
    for (const int kind : {0, 1, 2, 3}) all.push_back(mConfig.GetAdapter(ELbInterface{kind}));
    return all;
  };
  EXPECT_THAT(adapters(), ElementsAre("", "eth0", "wlan0", "uap0"));
  mHwinfo->Set("HwLoadBalancingAdapter", "lo");
  EXPECT_THAT(adapters(), ElementsAre("", "lo", "lo", "lo"));
  EXPECT_EQ(mConfig.GetAdapter(ELbInterface{4}), "");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(CLoadBalancingConfigTest, ThePageForInstallersTellsDefaultsAdaptersAndLines) {
  std::ifstream file(LOAD_BALANCING_PAGE);
  const std::string page(std::istreambuf_iterator<char>(file), {});
  std::vector<std::string> texts{
      fmt::format("`GroupLoadBalancingEnable` | | {} |", mConfig.GetEnable()),
      fmt::format("`GroupLoadBalancingRole` | | {} |", mConfig.GetRole() ? "Leader" : "Follower"),
      fmt::format("`GroupLoadBalancingInterface` | | {} |",
                  mConfig.GetInterface() == ELbInterface::Rs485 ? "RS485" : "a network"),
      fmt::format("`GroupLoadBalancingGroupId` | | {} |", mConfig.GetGroupId()),
      fmt::format("`GroupLoadBalancingFallbackCurrent` * | A | {} |", mConfig.GetFallbackCurrent()),
      fmt::format("`PhaseRotation` * | | {} |", mConfig.GetPhaseRotation()),
      fmt::format("`HwHasMeter` | | {} |", mConfig.GetHwHasMeter()),
      fmt::format("`GroupLoadBalancingGroupSize` | | {} |", mConfig.GetGroupSize()),
      fmt::format("`GroupLoadBalancingMaxCurrent` | A | {} |", mConfig.GetCurrentCapacity()),
      fmt::format("`VDEPhaseImbalanceEnable` | | {} |", mConfig.GetPhaseImbalanceEnable()),
      fmt::format("`VDEPhaseImbalanceLimit` | A | {} |", mConfig.GetPhaseImbalanceLimit()),
  };
  for (const auto* interface : {"RS485", "Ethernet", "Wlan", "WlanAp"}) {
    mSettings->Set("GroupLoadBalancingInterface", interface);
    const std::string adapter = mConfig.GetAdapter(mConfig.GetInterface());
    texts.push_back(fmt::format("| `{}` | {}", interface, adapter.empty() ? "none" : "`" + adapter + "` |"));
  }
  mConfig.GetPassword();
  mConfig.GetMainboardSn();
  for (const auto& line : mLog.Lines()) {
    if (line.text.starts_with("GroupLoadBalancingMaxCurrent")) continue;  // a leader's
    texts.push_back("| " + line.text + " |");
  }
  EXPECT_GT(texts.size(), 18U);
  for (const auto& text : texts) EXPECT_THAT(page, ::testing::HasSubstr(text));
}

}  // namespace
