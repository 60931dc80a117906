#include "src/components/loadbalancing/loadbalancingconfig.h"

#include <fstream>
#include <iterator>
#include <limits>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "support/memoryconfig.h"

namespace {

using C = CLoadBalancingConfig;

class CLoadBalancingConfigTest : public ::testing::Test {
 protected:
  void Set(std::string_view key, const Json::Value& value) {
    const bool isHwinfo = key.starts_with("Hw") || key == "MainboardSn";
    (isHwinfo ? mHwinfo : key.ends_with("Password") ? mSecrets : mSettings)->Set(key, value);
  }

  std::shared_ptr<CMemoryConfig> mSettings = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CMemoryConfig> mHwinfo = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CMemoryConfig> mSecrets = std::make_shared<CMemoryConfig>();
  CLogCapture mLog{Log::ELogLevel::Info};
  const CLoadBalancingConfig mConfig{mSettings, mHwinfo, mSecrets};
};

template <auto kGetter>
std::string Get(const C& config) {
  const auto value = (config.*kGetter)();
  using TValue = std::remove_const_t<decltype(value)>;
  if constexpr (std::is_same_v<TValue, std::optional<std::string>>)
    return value.value_or("none");
  else if constexpr (std::is_enum_v<TValue>)
    return fmt::format("{}", static_cast<int>(value));
  else
    return fmt::format("{}", value);
}

TEST_F(CLoadBalancingConfigTest, EveryValueGivesItsResultAndEachProblemOneLine) {
  const auto nan = std::numeric_limits<double>::quiet_NaN();
  const auto rotation = Get<&C::GetPhaseRotation>;
  const auto role = Get<&C::GetRole>;
  const auto interface = Get<&C::GetInterface>;
  const auto group = Get<&C::GetGroupId>;
  const auto fallback = Get<&C::GetFallbackCurrent>;
  const auto capacity = Get<&C::GetCurrentCapacity>;
  const auto password = Get<&C::GetPassword>;
  const auto serial = Get<&C::GetMainboardSn>;
  const std::string missing = "W {} is empty or not defined in settings.json. Defaulting to ";
  const std::string negative = " {} is negative or not defined in settings.json";
  const std::string tooBig = "W The value '65536' is too big for {}. Defaulting to '0'.";
  const auto bad = [](const std::string& value) { return " Invalid value '" + value + "' for {} in "; };
  const struct {
    const char* key;
    std::string (*get)(const C&);
    Json::Value value;  // null: absent
    std::string result;
    std::string line = {};  // of the key
  } kCases[] = {
      {"GroupLoadBalancingEnable", Get<&C::GetEnable>, true, "true"},
      {"GroupLoadBalancingGroupSize", Get<&C::GetGroupSize>, -3, "-3"},
      {"HwHasMeter", Get<&C::GetHwHasMeter>, true, "true"},
      {"VDEPhaseImbalanceLimit", Get<&C::GetPhaseImbalanceLimit>, 20, "20"},
      {"VDEPhaseImbalanceEnable", Get<&C::GetPhaseImbalanceEnable>, true, "true"},
      {"PhaseRotation", rotation, {}, "RST"},
      {"PhaseRotation", rotation, "STR", "STR"},
      {"PhaseRotation", rotation, "", "RST", missing + "'RST'."},
      {"GroupLoadBalancingRole", role, {}, "false", missing + "'Follower'."},
      {"GroupLoadBalancingRole", role, "Leader", "true"},
      {"GroupLoadBalancingRole", role, "leader", "false",
       "W" + bad("leader") + "settings.json. Defaulting to 'Follower'."},
      {"GroupLoadBalancingRole", role, "Leader \n", "false",
       "W" + bad("Leader ?") + "settings.json. Defaulting to 'Follower'."},
      {"GroupLoadBalancingRole", role, "Follower", "false"},
      {"GroupLoadBalancingInterface", interface, {}, "0", missing + "'RS485'."},
      {"GroupLoadBalancingInterface", interface, "eth0", "0",
       "W" + bad("eth0") + "settings.json. Defaulting to 'RS485'."},
      {"GroupLoadBalancingInterface", interface, "RS485", "0"},
      {"GroupLoadBalancingInterface", interface, "Ethernet", "1"},
      {"GroupLoadBalancingInterface", interface, "Wlan", "2"},
      {"GroupLoadBalancingInterface", interface, "WlanAp", "3"},
      {"GroupLoadBalancingGroupId", group, 65536, "0", tooBig},
      {"GroupLoadBalancingGroupId", group, 65535, "65535"},
      {"GroupLoadBalancingGroupId", group, 65536, "0", tooBig},
      {"GroupLoadBalancingFallbackCurrent", fallback, 6.5, "6.5"},
      {"GroupLoadBalancingFallbackCurrent", fallback, 3e38, "3e+38"},
      {"GroupLoadBalancingFallbackCurrent", fallback, {}, "0", "W" + negative},
      {"GroupLoadBalancingFallbackCurrent", fallback, nan, "0", "W" + negative},
      {"GroupLoadBalancingMaxCurrent", capacity, 100, "100"},
      {"GroupLoadBalancingMaxCurrent", capacity, -0.5, "0", "E" + negative},
      {"GroupLoadBalancingPassword", password, "abc", "abc"},
      {"GroupLoadBalancingPassword", password, {}, "", "W {} is empty or not defined in secrets.json."},
      {"MainboardSn", serial, "12-34-abc-de1", "12-34-ABC-DE1"},
      {"MainboardSn", serial, {}, "none", "E {} is empty or not defined in hwinfo.json"},
      {"MainboardSn", serial, "12-34-abc-de1x", "none", "E" + bad("12-34-abc-de1x") + "hwinfo.json"},
      {"MainboardSn", serial, "1-34-abc-de1", "none", "E" + bad("1-34-abc-de1") + "hwinfo.json"},
      {"MainboardSn", serial, std::string(9999, '1'), "none",
       "E" + bad(std::string(200, '1') + "...") + "hwinfo.json"},
  };
  for (const auto& item : kCases) {
    Set(item.key, item.value);
    for (int again = 0; again < 3; ++again) EXPECT_EQ(item.get(mConfig), item.result) << item.key;
    std::string lines;
    for (const auto& line : mLog.Lines())
      lines += (line.level == Log::ELogLevel::Error ? "E " : "W ") + line.text;
    EXPECT_EQ(lines, fmt::format(fmt::runtime(item.line), item.key));
    mLog.Clear();
  }
}

TEST_F(CLoadBalancingConfigTest, ThePageForInstallersTellsAdaptersAndLines) {
  std::ifstream file(LOAD_BALANCING_PAGE);
  const std::string page(std::istreambuf_iterator<char>(file), {});
  std::vector<std::string> texts{"| `RS485` | none", "| `Ethernet` | `eth0` |", "| `Wlan` | `wlan0` |",
                                 "| `WlanAp` | `uap0` |"};
  for (const auto& get : {Get<&C::GetRole>, Get<&C::GetInterface>, Get<&C::GetFallbackCurrent>,
                          Get<&C::GetPassword>, Get<&C::GetMainboardSn>})
    get(mConfig);
  for (const auto& line : mLog.Lines()) texts.push_back("| " + line.text + " |");
  EXPECT_EQ(texts.size(), 9U);
  for (const auto& text : texts) EXPECT_THAT(page, ::testing::HasSubstr(text));

  const auto adapters = [&] {
    std::string all;
    for (const int kind : {0, 1, 2, 3, 4}) all += mConfig.GetAdapter(ELbInterface{kind}) + ",";
    return all;
  };
  EXPECT_EQ(adapters(), ",eth0,wlan0,uap0,,");
  Set("HwLoadBalancingAdapter", "lo");
  EXPECT_EQ(adapters(), ",lo,lo,lo,,");
}

}  // namespace
