#include "src/components/loadbalancing/loadbalancingconfig.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>
#include <utility>

// g++ 12 with sanitizers takes the library's own moves for uses of what is not initialised.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <regex>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#include <fmt/core.h>

#include "platform/log/log.h"
#include "platform/utility/text.h"
#include "src/components/settingskeys.h"

namespace {

constexpr auto kClassName = "CLoadBalancingConfig";

constexpr std::string_view kPhaseRotation = "PhaseRotation";
constexpr std::string_view kRole = "GroupLoadBalancingRole";
constexpr std::string_view kInterface = "GroupLoadBalancingInterface";
constexpr std::string_view kGroupId = "GroupLoadBalancingGroupId";
constexpr std::string_view kFallbackCurrent = "GroupLoadBalancingFallbackCurrent";
constexpr std::string_view kPassword = "GroupLoadBalancingPassword";
constexpr std::string_view kCurrentCapacity = "GroupLoadBalancingMaxCurrent";
constexpr std::string_view kMainboardSn = "MainboardSn";

constexpr std::string_view kDefaultPhaseRotation = "RST";
constexpr std::string_view kLeader = "Leader";
constexpr std::string_view kFollower = "Follower";
constexpr float kNoCurrent = -1.0F;

struct SInterface {
  std::string_view text;
  ELbInterface kind;
  std::string_view adapter;
};
constexpr std::array<SInterface, 4> kInterfaces{{{"RS485", ELbInterface::Rs485, ""},
                                                 {"Ethernet", ELbInterface::Ethernet, "eth0"},
                                                 {"Wlan", ELbInterface::Wlan, "wlan0"},
                                                 {"WlanAp", ELbInterface::WlanAp, "uap0"}}};

/// A value from outside as a log line shows it. Unlike `Text::InOneLine` it keeps blanks, which may be the
/// mistake.
std::string Shown(std::string value) {
  const auto isPrintable = [](char character) { return character >= ' ' && character < '\x7f'; };
  std::ranges::replace_if(
      value, [&](char character) { return !isPrintable(character); }, '?');
  return Text::Shortened(std::move(value));
}

constexpr char UpperCaseLetter(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

bool IsSerialNumber(const std::string& text) {
  static const std::regex pattern(R"(\d{2}-\d{2}-[a-zA-Z0-9]{3}-[a-zA-Z0-9]{3})");
  return std::regex_match(text, pattern);
}

}  // namespace

CLoadBalancingConfig::CLoadBalancingConfig(std::shared_ptr<KoConfig::IReadOnlyConfig> settings,
                                           std::shared_ptr<KoConfig::IReadOnlyConfig> hwinfo,
                                           std::shared_ptr<KoConfig::IReadOnlyConfig> secrets)
    : mSettings(std::move(settings)), mHwinfo(std::move(hwinfo)), mSecrets(std::move(secrets)) {}

bool CLoadBalancingConfig::GetEnable() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool(SettingsKeys::kGroupLoadBalancingEnable, false);
}

std::int32_t CLoadBalancingConfig::GetGroupSize() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetSigned("GroupLoadBalancingGroupSize", 0);
}

bool CLoadBalancingConfig::GetHwHasMeter() const {
  LOG_ENTRY(kClassName);
  return mHwinfo->GetBool(SettingsKeys::kHasMeter, false);
}

std::int32_t CLoadBalancingConfig::GetPhaseImbalanceLimit() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetSigned(SettingsKeys::kPhaseImbalanceLimit, 0);
}

bool CLoadBalancingConfig::GetPhaseImbalanceEnable() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool(SettingsKeys::kPhaseImbalanceEnable, false);
}

std::string CLoadBalancingConfig::GetPhaseRotation() const {
  LOG_ENTRY(kClassName);
  std::string rotation = mSettings->GetString(kPhaseRotation, kDefaultPhaseRotation);
  if (!rotation.empty()) {
    mProblems.Solved(kPhaseRotation);
    return rotation;
  }
  if (mProblems.IsNew(kPhaseRotation, rotation)) {
    LOG_WARNING("{} is empty or not defined in settings.json. Defaulting to '{}'.", kPhaseRotation,
                kDefaultPhaseRotation);
  }
  return std::string(kDefaultPhaseRotation);
}

bool CLoadBalancingConfig::GetRole() const {
  LOG_ENTRY(kClassName);
  std::string role = mSettings->GetString(kRole, "");
  if (role == kLeader || role == kFollower) {
    mProblems.Solved(kRole);
    return role == kLeader;
  }
  WarnOfDefault(kRole, std::move(role), kFollower);
  return false;
}

ELbInterface CLoadBalancingConfig::GetInterface() const {
  LOG_ENTRY(kClassName);
  std::string text = mSettings->GetString(kInterface, "");
  const auto* const found = std::ranges::find(kInterfaces, text, &SInterface::text);
  if (found != kInterfaces.end()) {
    mProblems.Solved(kInterface);
    return found->kind;
  }
  const SInterface& usual = kInterfaces.front();
  WarnOfDefault(kInterface, std::move(text), usual.text);
  return usual.kind;
}

/// Tells that the value is none of the allowed words.
void CLoadBalancingConfig::WarnOfDefault(std::string_view key, std::string word,
                                         std::string_view used) const {
  if (!mProblems.IsNew(key, word)) return;
  if (word.empty()) {
    LOG_WARNING("{} is empty or not defined in settings.json. Defaulting to '{}'.", key, used);
  } else {
    LOG_WARNING("Invalid value '{}' for {} in settings.json. Defaulting to '{}'.", Shown(std::move(word)),
                key, used);
  }
}

std::string CLoadBalancingConfig::GetAdapter(ELbInterface interface) const {
  LOG_ENTRY(kClassName);
  const auto* const found = std::ranges::find(kInterfaces, interface, &SInterface::kind);
  if (found == kInterfaces.end() || found->adapter.empty()) return {};
  std::string ofBoard = mHwinfo->GetString("HwLoadBalancingAdapter", "");
  return ofBoard.empty() ? std::string(found->adapter) : Shown(std::move(ofBoard));
}

std::uint16_t CLoadBalancingConfig::GetGroupId() const {
  LOG_ENTRY(kClassName);
  const std::uint32_t groupId = mSettings->GetUnsigned(kGroupId, 0);
  if (groupId <= std::numeric_limits<std::uint16_t>::max()) {
    mProblems.Solved(kGroupId);
    return static_cast<std::uint16_t>(groupId);
  }
  if (mProblems.IsNew(kGroupId, fmt::format("{}", groupId))) {
    LOG_WARNING("The value '{}' is too big for {}. Defaulting to '0'.", groupId, kGroupId);
  }
  return 0;
}

float CLoadBalancingConfig::GetFallbackCurrent() const {
  LOG_ENTRY(kClassName);
  return GetAmpere(kFallbackCurrent, Log::ELogLevel::Warning);
}

float CLoadBalancingConfig::GetCurrentCapacity() const {
  LOG_ENTRY(kClassName);
  return GetAmpere(kCurrentCapacity, Log::ELogLevel::Error);
}

float CLoadBalancingConfig::GetAmpere(std::string_view key, Log::ELogLevel level) const {
  const float ampere = mSettings->GetFloat(key, kNoCurrent);
  if (ampere >= 0.0F) {  // NaN fails the comparison
    mProblems.Solved(key);
    return ampere;
  }
  if (mProblems.IsNew(key, fmt::format("{}", ampere))) {
    LOG_AT(level, "{} is negative or not defined in settings.json", key);
  }
  return 0.0F;
}

std::string CLoadBalancingConfig::GetPassword() const {
  LOG_ENTRY(kClassName);
  std::string password = mSecrets->GetString(kPassword, "");
  if (!password.empty()) {
    mProblems.Solved(kPassword);
  } else if (mProblems.IsNew(kPassword, "")) {
    LOG_WARNING("{} is empty or not defined in secrets.json.", kPassword);
  }
  return password;  // in the very place where the store put it: a copy would have to be wiped, too
}

std::optional<std::string> CLoadBalancingConfig::GetMainboardSn() const {
  LOG_ENTRY(kClassName);
  std::string text = mHwinfo->GetString(kMainboardSn, "");
  if (IsSerialNumber(text)) {
    mProblems.Solved(kMainboardSn);
    std::ranges::transform(text, text.begin(), UpperCaseLetter);
    return text;
  }
  if (!mProblems.IsNew(kMainboardSn, text)) return std::nullopt;
  if (text.empty()) {
    LOG_ERROR("{} is empty or not defined in hwinfo.json", kMainboardSn);
  } else {
    LOG_ERROR("Invalid value '{}' for {} in hwinfo.json", Shown(std::move(text)), kMainboardSn);
  }
  return std::nullopt;
}
