#include "src/components/measurementsources/homewizardanswer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <memory>

#include <fmt/format.h>
#include <json/reader.h>

#include "platform/utility/text.h"

namespace HomeWizardAnswer {

namespace {

constexpr std::uint32_t kOk = 200;
constexpr std::uint32_t kForbidden = 403;
constexpr int kApiIsOffId = 202;
/// The parser recurses, and a worker's stack is small.
constexpr int kDeepestNesting = 16;
constexpr std::size_t kLongestName = 40;

constexpr std::array<std::string_view, 5> kHouseMeters{kP1Meter, "HWE-KWH1", "SDM230-wifi", "HWE-KWH3",
                                                       "SDM630-wifi"};
/// A socket, the water meter, the display, the battery.
constexpr std::array<std::string_view, 4> kOthers{"HWE-SKT", "HWE-WTR", "HWE-DSP", "HWE-BAT"};

Json::CharReaderBuilder ReaderBuilder() {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = kDeepestNesting;
  return builder;
}

std::string Parse(std::string_view text, Json::Value& object) {
  static const Json::CharReaderBuilder builder = ReaderBuilder();
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), &object, &errors)) {
    // Without the place, which is another one each time: the same fault is one reason.
    const std::size_t fault = std::min(errors.find("\n  "), errors.size() - 1) + 1;
    return fmt::format("the answer is no JSON: {}",
                       Text::InOneLine(errors.substr(fault, errors.find('\n', fault) - fault)));
  }
  return object.isObject() ? std::string() : "the answer is no JSON object";
}

std::string ParseSafely(std::string_view text, Json::Value& object) {
  try {
    return Parse(text, object);
  } catch (const std::exception& exception) {  // nested too deeply
    return fmt::format("the answer is no JSON: {}", Text::InOneLine(exception.what()));
  }
}

bool SaysThatApiIsOff(const SHttpAnswer& answer) {
  Json::Value object;
  if (answer.status != kForbidden || !ParseSafely(answer.body, object).empty()) return false;
  const Json::Value& error = object["error"];
  return error.isObject() && error["id"] == kApiIsOffId;
}

std::string Member(const Json::Value& object, const char* name) {
  const Json::Value& member = object[name];
  return member.isString() ? ToName(member.asString()) : std::string();
}

bool IsOfName(char letter) {
  const char lower = Text::LowerCaseLetter(letter);
  return (lower >= 'a' && lower <= 'z') || (letter >= '0' && letter <= '9') || letter == '-' || letter == '_';
}

}  // namespace

std::string ToObject(const SHttpAnswer& answer, Json::Value& object) {
  if (!answer.failure.empty()) return answer.failure;
  if (SaysThatApiIsOff(answer)) return std::string(kApiIsOff);
  if (answer.status != kOk) return fmt::format("the answer's status is {}", answer.status);
  return ParseSafely(answer.body, object);
}

SDevice ToDevice(const Json::Value& object) {
  return {.serial = Text::ToLowerCase(Member(object, "serial")),
          .productType = Member(object, "product_type")};
}

std::string ToName(std::string_view text) {
  return text.size() <= kLongestName && std::ranges::all_of(text, IsOfName) ? std::string(text)
                                                                            : std::string();
}

EMeasures Measures(std::string_view productType) {
  if (std::ranges::find(kHouseMeters, productType) != kHouseMeters.end()) return EMeasures::House;
  return std::ranges::find(kOthers, productType) != kOthers.end() ? EMeasures::Other : EMeasures::Unknown;
}

}  // namespace HomeWizardAnswer
