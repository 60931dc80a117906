#include "tools/currentcontrolctl/groupcommand.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "ipc/currentcontrol.service.h"

#include "tools/display/grouptable.h"

namespace {

constexpr std::string_view kService = "CurrentControl";

Json::Value ToJson(const ipc::MPhaseCurrents& milliAmpere) {
  Json::Value json = Json::arrayValue;
  for (const std::uint32_t phase : {milliAmpere.r(), milliAmpere.s(), milliAmpere.t()}) json.append(phase);
  return json;
}

Json::Value PhasesToJson(std::uint32_t phases) {
  constexpr std::array<const char*, 3> kNames{"R", "S", "T"};
  Json::Value json = Json::arrayValue;
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    if (((phases >> i) & 1U) != 0) json.append(kNames[i]);
  }
  return json;
}

Json::Value ToJson(const ipc::MGroupStation& station) {
  Json::Value json;
  json["serial"] = station.serial_number();
  json["address"] = station.address();
  json["state"] = FormatState(station.state());
  json["own"] = station.is_own();
  json["phases"] = PhasesToJson(station.phases());
  json["phase_discovery"] = station.phase_discovery();
  json["limit_milliampere"] = station.limit();
  json["drawn_milliampere"] = ToJson(station.drawn());
  json["fallback_milliampere"] = station.fallback();
  if (station.has_heard_ago_ms()) json["heard_ms_ago"] = Json::Int64{station.heard_ago_ms()};
  return json;
}

Json::Value ToJson(const ipc::MGroup& group) {
  Json::Value json;
  json["role"] = FormatRole(group.role());
  if (group.role() == ipc::EGroupRoleLeader) {
    json["settling"] = group.settling();
    json["capacity_milliampere"] = ToJson(group.capacity());
    json["exposure_milliampere"] = ToJson(group.exposure());
    json["unheard"] = group.unheard();
  }
  json["stations"] = Json::arrayValue;
  for (const ipc::MGroupStation& station : group.stations()) json["stations"].append(ToJson(station));
  return json;
}

}  // namespace

EExit Group(CSession& session) {
  const auto answer = session.Call(kService, &ipc::CCurrentControlClient::GetGroup);
  if (!answer.IsOk()) return session.FailToReach(kService, answer.status, answer.detail);
  std::string text = FormatGroup(answer.value);
  text.pop_back();  // the line end, which every answer gets
  return session.Answer(ToJson(answer.value), text);
}
