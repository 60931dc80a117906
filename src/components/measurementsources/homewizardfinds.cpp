#include "src/components/measurementsources/homewizardfinds.h"

#include <cstddef>
#include <iterator>
#include <vector>

#include <fmt/format.h>

#include "platform/utility/text.h"
#include "src/components/measurementsources/homewizardanswer.h"

namespace {

constexpr std::size_t kMostMeters = 16;
constexpr std::size_t kMostInReason = 4;

using SMeter = CHomeWizardFinds::SMeter;

std::string Property(const SFoundService& service, const std::string& key) {
  const auto found = service.properties.find(key);
  return found == service.properties.end() ? std::string() : HomeWizardAnswer::ToName(found->second);
}

std::string ReasonForNone(const std::vector<SMeter>& meters) {
  if (meters.empty()) return "no meter was found on the network";
  std::string list;
  for (std::size_t index = 0; index < meters.size() && index < kMostInReason; ++index) {
    const SMeter& meter = meters[index];
    fmt::format_to(std::back_inserter(list), "{}{} {} at {}", list.empty() ? "" : ", ", meter.productType,
                   meter.serial, meter.address);
  }
  return fmt::format("{} meters were found on the network, set \"address\" to that of the right one: {}{}",
                     meters.size(), list, meters.size() > kMostInReason ? ", ..." : "");
}

}  // namespace

bool CHomeWizardFinds::Note(const SFoundService& service) {
  SMeter meter{.address = fmt::format("{}:{}", service.address, service.port),
               .serial = Text::ToLowerCase(Property(service, "serial")),
               .productType = Property(service, "product_type"),
               .isApiOff = Property(service, "api_enabled") == "0"};
  if (meter.serial.empty() ||
      HomeWizardAnswer::Measures(meter.productType) != HomeWizardAnswer::EMeasures::House) {
    return false;
  }
  const bool isNew = !mMeters.contains(meter.serial);
  if (isNew && mMeters.size() >= kMostMeters) return false;
  mMeters.insert_or_assign(meter.serial, std::move(meter));
  return isNew;
}

std::optional<SMeter> CHomeWizardFinds::Choose(const std::string& serial, std::string& reason) const {
  if (!serial.empty()) {
    const auto found = mMeters.find(serial);
    if (found != mMeters.end()) return found->second;
    reason = fmt::format("the meter {} was not found on the network", serial);
    return std::nullopt;
  }
  std::vector<SMeter> p1Meters;
  std::vector<SMeter> others;
  for (const auto& [key, meter] : mMeters) {
    (meter.productType == HomeWizardAnswer::kP1Meter ? p1Meters : others).push_back(meter);
  }
  const auto& candidates = p1Meters.empty() ? others : p1Meters;
  if (candidates.size() == 1) return candidates.front();
  reason = ReasonForNone(candidates);
  return std::nullopt;
}
