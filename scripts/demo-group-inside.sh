#!/usr/bin/env bash
# What demo-group.sh runs in namespaces of its own, where nothing has to be cleaned up: networks and processes end with it.
# It ends when its time is over or its standard input ends.
#
# usage: demo-group-inside.sh BIN ROOT STATIONS SECONDS
set -euo pipefail
bin=$1
root=$2
size=$3
seconds=$4
# shellcheck source=scripts/processes.sh
. "$(dirname "$0")/processes.sh"

# In each round, in seconds: what is done to one station. The group settles for 12 s; a station falls back 8 s after it last
# heard its leader, which gives what that frees to the others when it is sure of it.
readonly ROUND=60
readonly STEPS=("17 show_limits led" "19 cut_off" "28 show_limits cut off" "40 join_again")
readonly TABLE=2  # seconds

daemons=()
stations=()
finish() {
  local status=$1 each
  trap - EXIT
  [ "$BASHPID" -eq $$ ] || exit "$status"  # about to become one of the programs
  trap '' PIPE
  set +e
  for each in "${stations[@]}"; do if running "$each"; then kill -TERM "$each" || true; fi; done  # all at once
  for each in "${stations[@]}"; do end "$each" || { echo "demo: a station failed with status $?" >&2; status=1; }; done
  for each in "${daemons[@]}"; do end "$each" || { echo "demo: a daemon failed with status $?" >&2; status=1; }; done
  exit "$status"
}
trap 'finish $?' EXIT
trap 'exit 141' PIPE

serial() { echo "12-34-ABC-DE$1"; }
folder() { echo "$root/station-$1"; }
fail() { echo "demo: $1" >&2; exit 1; }

# Where the names of networks stand; of ours alone, from here on.
[ -d /run/netns ] || mkdir -p /run/netns 2> /dev/null || { mount -t tmpfs tmpfs /run; mkdir /run/netns; }
mount -t tmpfs tmpfs /run/netns

make_network() {
  ip netns add "$1"
  ip -n "$1" link set lo up
  ip link add "port-$1" type veth peer name eth0 netns "$1"
  ip link set "port-$1" master bridge0 up
  # An address that is there at once, and easy to tell apart.
  ip -n "$1" link set eth0 addrgenmode none
  ip -n "$1" link set eth0 up
  ip -n "$1" address add "$2/64" dev eth0 nodad
}
ip link add bridge0 type bridge mcast_snooping 0
ip link set bridge0 up
for ((each = 1; each <= size; ++each)); do make_network "station-$each" "fe80::$each"; done

# A three-phase station with a cable of its own and a meter, at which a vehicle may draw 16 A: on three phases at the first
# two stations, on one at the others, whose L1 is on the supply's S. The first one leads; the supply has 12 A for each.
password=$(head -c 18 /dev/urandom | base64)
make_station() {
  local phases=3 rotation=RST role=Follower
  if [ "$1" -eq 1 ]; then role=Leader; fi
  if [ "$1" -gt 2 ]; then phases=1 rotation=STR; fi
  mkdir -p "$(folder "$1")/etc"
  cd "$(folder "$1")/etc"
  cat > hwinfo.json << END
{
  "HwMaxCurrent": 32,
  "HwOneOrThreePhase": 3,
  "HwHasSocket": false,
  "HwHasMeter": true,
  "MainboardSn": "$(serial "$1")"
}
END
  cat > settings.json << END
{
  "CurrentCtrlFixedChargeCurrentLimit": 25,
  "PhaseRotation": "$rotation",
  "GroupLoadBalancingEnable": true,
  "GroupLoadBalancingRole": "$role",
  "GroupLoadBalancingInterface": "Ethernet",
  "GroupLoadBalancingGroupId": 7,
  "GroupLoadBalancingGroupSize": $size,
  "GroupLoadBalancingMaxCurrent": $((12 * size)),
  "GroupLoadBalancingFallbackCurrent": 6
}
END
  (umask 077; echo "{\"GroupLoadBalancingPassword\": \"$password\"}" > secrets.json)
  cat > ../vehicle.json << END
{"events": [{"at": "00:00:00", "vehicle": {"phases": $phases, "max-milliampere": 16000, "reaction-ms": 1000}}]}
END
  cd - > /dev/null
}
for ((each = 1; each <= size; ++each)); do make_station "$each"; done

# What a log says of the group, as it says it.
follow_log() {
  tail --lines=+1 -F "$(folder "$1")/currentcontrol.log" 2> /dev/null | sed -Enu \
    "s/^.*\) (Looking for the stations|The group |.* is led|.* does not answer any more|Reached state discovered|Communication timeout occurred|Reset received from leader)(.*)$/          $(serial "$1")  logs \"\1\2\"/p"
}
for ((each = 1; each <= size; ++each)); do
  in=(ip netns exec "station-$each")
  at=$(folder "$each")
  "${in[@]}" "$bin/currentcontrol" -v --root="$at" > "$at/currentcontrol.log" 2>&1 < /dev/null &
  daemons+=($!)
  "${in[@]}" "$bin/stationsim" --root "$at" --scenario "$at/vehicle.json" > "$at/station.log" 2>&1 < /dev/null &
  stations+=($!)
  follow_log "$each" < /dev/null &
done

say() { printf '\n==== %s\n' "$*"; }
show_limits() {
  say "currentcontrolctl limits, at $(serial "$station") while it is $*"
  "$bin/currentcontrolctl" --root "$(folder "$station")" limits
  echo
}
# Now, in ms since 1970, as in the logs.
now() { echo $((${EPOCHREALTIME/[.,]/} / 1000)); }
# What the leader knows: for the check each second, for people as often as TABLE says.
show_group() {
  local group
  if ! group=$("$bin/currentcontrolctl" --root "$(folder 1)" --json group 2> /dev/null); then
    ((SECONDS <= 3)) || fail "the leader does not answer"
    return 0
  fi
  echo "{\"time\": $(now), \"group\": $group}" >> "$root/journal"
  if ((SECONDS % TABLE == 0)); then
    printf '\n%02d:%02d  ' $((SECONDS / 60)) $((SECONDS % 60))
    "$bin/currentcontrolctl" --root "$(folder 1)" group
  fi
}
cut_off() {
  say "$(serial "$station") is cut off from the network"
  ip link set "port-station-$station" down
  echo "$station cut $(now)" >> "$root/cuts"
}
join_again() {
  say "$(serial "$station") is in the network again"
  ip link set "port-station-$station" up
  echo "$station joined $(now)" >> "$root/cuts"
}

SECONDS=0
sleep 1  # who is told to end before it listens to that looks as if it had failed
begin=0
step=0
station=2
shown=0
while ((SECONDS < seconds)); do
  for ((each = 0; each < size; ++each)); do
    running "${daemons[each]}" || fail "the daemon of $(serial $((each + 1))) has ended"
    running "${stations[each]}" || fail "the station of $(serial $((each + 1))) has ended"
  done
  if ((SECONDS > shown)); then
    shown=$SECONDS
    show_group < /dev/null
  fi
  read -r at action <<< "${STEPS[step]}"
  if ((SECONDS >= begin + at)); then
    $action < /dev/null
    step=$(((step + 1) % ${#STEPS[@]}))
    # The leader stays: without it all of them would fall back.
    if ((step == 0)); then begin=$((begin + ROUND)) station=$((station == size ? 2 : station + 1)); fi
  fi
  # A fifth of a second, or the end.
  read -r -t 0.2 || [ $? -gt 128 ] || exit 0
done
