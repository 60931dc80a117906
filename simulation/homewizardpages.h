#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/mdns/servicediscovery.h"
#include "simulation/housemeter.h"

/// What HomeWizard devices tell: the pages that they serve and what they announce.
namespace HomeWizardPages {

inline constexpr auto kServiceType = "_hwenergy._tcp";

struct SDevice {
  std::string serial = "3c39e7001122";
  std::string productType = "HWE-P1";
  bool isApiOn = true;

  bool operator==(const SDevice&) const = default;
};

struct SPage {
  std::uint32_t status;
  std::string body;
};

/// What a P1 meter at this house's connection answers, by its fate; nothing when it is away.
std::optional<SPage> Get(CHouseMeter& meter, const SDevice& device, std::string_view path);

SFoundService Announced(const SDevice& device, const std::string& address, std::uint16_t port);

}  // namespace HomeWizardPages
