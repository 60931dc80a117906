#include "src/rpc/services/groupanswer.h"

#include "src/components/loadbalancing/lbserialnumber.h"

namespace {

ipc::EGroupStationState ToAnswer(ELbStationState state) {
  switch (state) {
    case ELbStationState::Leading:
      return ipc::EGroupStationLeading;
    case ELbStationState::Joining:
      return ipc::EGroupStationJoining;
    case ELbStationState::Led:
      return ipc::EGroupStationLed;
    case ELbStationState::Silent:
      return ipc::EGroupStationSilent;
    case ELbStationState::Refused:
      return ipc::EGroupStationRefused;
  }
  return ipc::EGroupStationUnknown;
}

void Fill(ipc::MPhaseCurrents& message, const LbPhaseCurrents& milliAmpere) {
  message.set_r(milliAmpere[0]);
  message.set_s(milliAmpere[1]);
  message.set_t(milliAmpere[2]);
}

void Fill(ipc::MGroupStation& message, const SLbStationView& station) {
  message.set_serial_number(ToText(station.serialNumber));
  message.set_address(station.address);
  message.set_state(ToAnswer(station.state));
  message.set_is_own(station.isOwn);
  message.set_phases(station.phases);
  message.set_phase_discovery(station.isPhaseDiscovery);
  message.set_limit(station.limitMilliAmpere);
  Fill(*message.mutable_drawn(), station.drawnMilliAmpere);
  message.set_fallback(station.fallbackMilliAmpere);
  if (station.heardAgo) message.set_heard_ago_ms(station.heardAgo->count());
}

}  // namespace

ipc::MGroup ToAnswer(const std::optional<SLbGroupView>& group) {
  ipc::MGroup answer;
  if (!group) return answer;
  answer.set_role(group->isLeader ? ipc::EGroupRoleLeader : ipc::EGroupRoleFollower);
  if (group->isLeader) {
    answer.set_settling(group->isSettling);
    Fill(*answer.mutable_capacity(), group->milliAmpere);
    Fill(*answer.mutable_exposure(), group->mostMilliAmpere);
    answer.set_unheard(group->unheard);
  }
  for (const SLbStationView& station : group->stations) Fill(*answer.add_stations(), station);
  return answer;
}
