#include "src/components/measurementsources/homewizardreading.h"

#include <gmock/gmock.h>

#include "src/components/measurementsources/homewizardanswer.h"

namespace {

using ::testing::HasSubstr;
using Value = std::optional<ThreePhaseValue>;

/// From the answer's body to the reading, or why there is none.
std::variant<SMeterReading, std::string> Read(const std::string& body, std::uint32_t status = 200) {
  Json::Value data;
  const auto failure = HomeWizardAnswer::ToObject({.failure = {}, .status = status, .body = body}, data);
  if (!failure.empty()) return failure;
  return HomeWizardReading::From(data);
}

TEST(HomeWizardReadingTest, TakesWhatIsThere) {
  const struct {
    const char* body;
    Value current;
    Value voltage;
    Value power;
  } kCases[] = {
      // The larger of current and power; a phase that feeds in.
      {R"({"active_power_w": -2250, "active_power_l1_w": -2450, "active_power_l2_w": 120,
           "active_power_l3_w": 80, "active_voltage_l1_v": 236.9, "active_voltage_l2_v": 231.2,
           "active_voltage_l3_v": 232.5, "active_current_l1_a": -10, "active_current_l2_a": 1,
           "active_current_l3_a": 0, "external": [{"type": "gas_meter"}]})",
       {{-10342, 1000, 344}},
       {{237, 231, 233}},
       {{-2250, 0, 0}}},
      // Apparent current before the real one; the sum of the phases is none of a phase.
      {R"({"active_power_w": -1058.5, "active_power_l1_w": -1058.5, "active_power_l2_w": 0,
           "active_current_l1_a": -4.6, "active_current_a": 50, "active_apparent_current_l1_a": 4.9,
           "active_apparent_current_l2_a": 0.2})",
       {{-4900, 200, 0}},
       {},
       {{-1059, 0, 0}}},
      // A meter for one phase, and old smart meters without voltages or phases.
      {R"({"active_power_w": 100, "active_power_l1_w": 100, "active_voltage_v": 231.4, "active_current_a": 2.5})",
       {{2500, 0, 0}},
       {{231, 0, 0}},
       {{100, 0, 0}}},
      {R"({"active_power_w": 335, "active_power_l1_w": 254, "active_power_l2_w": 83,
           "active_power_l3_w": null, "active_current_l1_a": null})",
       {{1104, 361, 0}},
       {},
       {{335, 0, 0}}},
      {R"({"active_power_w": 1193, "active_current_a": 5})", {}, {}, {{1193, 0, 0}}},
      // A voltage that cannot be; nothing but phases.
      {R"({"active_power_l1_w": 2300, "active_voltage_l1_v": 0, "active_power_l2_w": -300})",
       {{10000, -1304, 0}},
       {{0, 0, 0}},
       {{2000, 0, 0}}},
      {R"({"active_current_l3_a": -3})", {{0, 0, -3000}}, {}, {}},
  };
  for (const auto& [body, current, voltage, power] : kCases) {
    const auto reading = Read(body);
    ASSERT_TRUE(std::holds_alternative<SMeterReading>(reading)) << std::get<std::string>(reading);
    EXPECT_EQ(std::get<SMeterReading>(reading), (SMeterReading{current, voltage, power})) << body;
  }
}

TEST(HomeWizardReadingTest, NamesWhatIsWrong) {
  const std::string nested(100000, '[');
  const struct {
    std::string body;
    const char* reason;
    std::uint32_t status = 200;
  } kCases[] = {
      {R"({"active_power_w": 1, "active_current_l1_a": true})", R"("active_current_l1_a" is no number)"},
      {R"({"active_power_l1_w": 1e9})",
       R"("active_power_l1_w" is about 1e+09, which is not within -1000000 to 1000000)"},
      {R"({"active_current_l2_a": -1e308})",
       R"("active_current_l2_a" is about -1e+308, which is not within -5000)"},
      {R"({"active_voltage_l1_v": -1})",
       R"("active_voltage_l1_v" is about -1, which is not within 0 to 1000)"},
      {R"({"wifi_strength": 50, "active_power_w": null, "active_tariff": 1})", "no \"active_\" field"},
      {R"({"active_power_w": 1e999})", "the answer is no JSON: '1e999' is not a number"},
      {R"({"active_power_w": NaN})", "the answer is no JSON"},
      {R"({"active_power_w": 1} {})", "the answer is no JSON"},
      {R"({"active_power_w": 1, "active_power_w": 2})", "Duplicate key"},
      {R"({"active_power_w":-543,"active_pow)", "the answer is no JSON"},
      {R"([1])", "the answer is no JSON object"},
      {"", "the answer is no JSON"},
      {R"({"a": )" + nested, "the answer is no JSON"},
      {R"({"error": {"id": 202}})", R"(the owner has to switch on "Local API")", 403},
      {R"({"error": {"id": 203}})", "the answer's status is 403", 403},
      {R"({"active_power_w": 1})", "the answer's status is 500", 500},
  };
  for (const auto& [body, reason, status] : kCases) {
    const auto reading = Read(body, status);
    ASSERT_TRUE(std::holds_alternative<std::string>(reading)) << body;
    EXPECT_THAT(std::get<std::string>(reading), HasSubstr(reason));
    EXPECT_LT(std::get<std::string>(reading).size(), 260U);
  }
}

}  // namespace
