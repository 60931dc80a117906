#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/koconfig/koconfig.h"
#include "platform/log/log.h"
#include "src/components/loadbalancing/toldproblems.h"

/// Over what a group's stations talk to each other.
enum class ELbInterface { Rs485 = 0, Ethernet = 1, Wlan = 2, WlanAp = 3 };

/// The one typed access to the settings of group load balancing.
///
/// Every getter reads its key anew. What is missing or makes no sense gives a default and one log line, which
/// is not repeated while it lasts. Any thread.
class CLoadBalancingConfig {
 public:
  CLoadBalancingConfig(std::shared_ptr<KoConfig::IReadOnlyConfig> settings,
                       std::shared_ptr<KoConfig::IReadOnlyConfig> hwinfo,
                       std::shared_ptr<KoConfig::IReadOnlyConfig> secrets);

  bool GetEnable() const;
  std::int32_t GetGroupSize() const;
  bool GetHwHasMeter() const;
  std::int32_t GetPhaseImbalanceLimit() const;  ///< A
  bool GetPhaseImbalanceEnable() const;
  /// Which of the supply's phases R, S and T the station's L1 to L3 are connected to, see CLbPhaseRotation.
  std::string GetPhaseRotation() const;
  bool GetRole() const;  ///< true: leader
  ELbInterface GetInterface() const;
  /// The network adapter of an interface, or the one that the board names; empty for the serial line.
  std::string GetAdapter(ELbInterface interface) const;
  std::uint16_t GetGroupId() const;  ///< 0: none
  float GetFallbackCurrent() const;  ///< A; what is charged with while there is no leader
  std::string GetPassword() const;   ///< to be wiped by who has read it
  float GetCurrentCapacity() const;  ///< A; what the group has
  /// In upper case; nothing: there is none, or one that is not like 12-34-ABC-DE1.
  std::optional<std::string> GetMainboardSn() const;

 private:
  void WarnOfDefault(std::string_view key, std::string word, std::string_view used) const;
  float GetAmpere(std::string_view key, Log::ELogLevel level) const;

  const std::shared_ptr<KoConfig::IReadOnlyConfig> mSettings;
  const std::shared_ptr<KoConfig::IReadOnlyConfig> mHwinfo;
  const std::shared_ptr<KoConfig::IReadOnlyConfig> mSecrets;
  mutable CToldProblems mProblems;
};
