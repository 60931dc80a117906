#!/usr/bin/env bash
# Runs the daemon with a simulated station and shows what happens, live. Ctrl-C ends it.
#
# usage: demo.sh [--meter TYPE] [--scenario NAME|FILE] | [--group N] [--seconds N] [--root PATH]
#   --group N              N stations, 2 to 5, that share a supply, the first one leads, in networks of their own
#   --meter TYPE           what measures the house: ct (else), p1extender, homewizard, modbustcp or modbusrtu; homewizard-mdns
#                          has to be found on the network, by the avahi daemon
#   --scenario NAME|FILE   what happens: evening-cooking (else), demo, evening, meter-lost, solar, which is measured over
#                          modbustcp unless you say otherwise, or a file of your own
#   --seconds N            end after N seconds
#   --root PATH            keep settings, sockets and the log below PATH, and leave them there (else: a temporary folder)
set -euo pipefail

usage() { sed -n 's/^# usage: /usage: /p; s/^#   \( *[-a-z]\)/  \1/p' "$0"; }
seconds=()
root=""
scenario=""
meter=""
group=""
while [ $# -gt 0 ]; do
  case "$1" in
    --group | --meter | --scenario | --seconds | --root) [ -n "${2-}" ] || { echo "demo: $1 needs a value" >&2; exit 2; } ;;&
    --seconds) [[ "$2" =~ ^[1-9][0-9]{0,5}$ ]] || { echo "demo: --seconds takes a whole number from 1, not '$2'" >&2; exit 2; }
      seconds=(--seconds "$2"); shift 2 ;;
    --meter) case "$2" in
        ct | p1extender | homewizard | homewizard-mdns | modbustcp | modbusrtu) meter=$2; shift 2 ;;
        *) echo "demo: '$2' is no meter that a demonstration has" >&2; usage >&2; exit 2 ;;
      esac ;;
    --scenario) scenario=$2; shift 2 ;;
    --group) group=$2; shift 2 ;;
    --root) root=$(realpath --canonicalize-missing "$2"); shift 2 ;;
    -h | --help) usage; exit 0 ;;
    *) echo "demo: unknown option '$1'" >&2; usage >&2; exit 2 ;;
  esac
done
if [ -n "$group" ]; then
  [ -z "$meter$scenario" ] || { echo "demo: --group goes with neither --meter nor --scenario" >&2; exit 2; }
  if [ -n "$root" ]; then seconds+=(--root "$root"); fi
  exec "$(dirname "$0")/demo-group.sh" --group "$group" "${seconds[@]}"
fi
scenario=${scenario:-evening-cooking}
atHand=$(dirname "$0")/../simulation/scenarios/$scenario.json
if [ -f "$atHand" ]; then scenario=$atHand; fi
[ -f "$scenario" ] || { echo "demo: '$scenario' is neither a scenario at hand nor a file" >&2; exit 2; }
scenario=$(realpath "$scenario")
if [ -n "$meter" ] && [ -n "$root" ] && [ -e "$root/etc/settings.json" ]; then
  echo "demo: --meter is for a root without settings; $root/etc/settings.json is there already" >&2
  exit 2
fi
# Current transformers do not tell power, which solar charging needs.
if [ -z "$meter" ] && [ "$(basename "$scenario")" = solar.json ] && [ ! -e "$root/etc/settings.json" ]; then
  meter=modbustcp
fi
meter=${meter:-ct}
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh
cmake --preset release
cmake --build --preset release --target currentcontrol stationsim currentcontrolctl
bin=$PWD/build/release/bin

daemon=""
station=""
temporary=""
log=""
# shellcheck source=scripts/processes.sh
. scripts/processes.sh

finish() {
  local status=$1 stationStatus=0 daemonStatus=0
  trap '' INT TERM HUP PIPE
  trap - EXIT
  set +e  # whatever fails from here on, the folder goes
  end "$station" || stationStatus=$?
  end "$daemon" || daemonStatus=$?
  if [ "$stationStatus" -eq 141 ]; then
    status=141  # nobody reads its table any more
  elif [ "$stationStatus" -ne 0 ]; then
    echo "demo: the station ended with status $stationStatus" >&2
    status=1
  fi
  if [ "$daemonStatus" -ne 0 ]; then echo "demo: the daemon ended with status $daemonStatus" >&2; status=1; fi
  if [ "$status" -ne 0 ] && [ "$status" -ne 141 ] && [ -f "$log" ]; then echo "demo: the daemon's log:" >&2; cat "$log" >&2; fi
  if [ -n "$temporary" ]; then rm -rf "$temporary"; fi
  exit "$status"
}
finish_always

if [ -z "$root" ]; then
  temporary=$(mktemp -d "${TMPDIR:-/tmp}/currentcontrol.XXXXXX")
  root=$temporary
fi
mkdir -p "$root/etc"
log=$root/currentcontrol.log

# A port on which nobody listens.
freePort() {
  local port
  while port=$((20000 + RANDOM % 12000)) && (exec 3<> "/dev/tcp/127.0.0.1/$port") 2> /dev/null; do :; done
  echo "$port"
}

# The settings hold a meter's parameters as text.
source=${meter%-mdns}
offer=(--meter "$source")
port=""
case "$meter" in
  homewizard | modbustcp) port=$(freePort); offer+=(--meter-port "$port") ;;&
  homewizard) parameters="{\\\"address\\\": \\\"127.0.0.1:$port\\\"}" ;;
  modbustcp) parameters="{\\\"type\\\": \\\"siemens_pac2200\\\", \\\"address\\\": \\\"127.0.0.1:$port\\\"}" ;;
  modbusrtu) parameters='{\"type\": \"siemens_pac2200\"}' ;;
  *) parameters="" ;;
esac

# A three-phase station for 32 A with a meter, a socket and a serial line, at an installation that allows 25 A, in a
# house with a main fuse of 25 A and a meter behind it.
[ -e "$root/etc/hwinfo.json" ] || cat > "$root/etc/hwinfo.json" << 'END'
{
  "HwMaxCurrent": 32,
  "HwOneOrThreePhase": 3,
  "HwHasSocket": true,
  "HwHasMeter": true,
  "HwHasRs485": true,
  "HwRs485AutoDirection": true
}
END
[ -e "$root/etc/settings.json" ] || cat > "$root/etc/settings.json" << END
{
  "CurrentCtrlFixedChargeCurrentLimit": 25,
  "ConnectedPhases": 0,
  "UserDefinedChargeLimitCurrentAllowed": true,
  "UserDefinedChargeLimitCurrent": 32,
  "CurrentCtrlBopEnable": true,
  "CurrentCtrlBopFuseRating": 25,
  "BopSource": "$source",
  "BopSourceParameters": "$parameters",
  "CurrentCtrlBopCtType": "C-CT-16",
  "SolarChargingAllowed": true
}
END

# Each in a process group of its own, so that Ctrl-C reaches this script alone, which then ends them in order.
set -m
"$bin/currentcontrol" --root="$root" > "$log" 2>&1 < /dev/null &
daemon=$!
"$bin/stationsim" --root "$root" --scenario "$scenario" "${offer[@]}" --table "${seconds[@]}" < /dev/null &
station=$!
set +m

# The station ends when its time is over. The daemon ends before it only if the station asked it to.
wait -n -p ended "$daemon" "$station" || finish 1
if [ "$ended" = "$daemon" ]; then
  daemon=""
  for ((tries = 0; tries < 50; ++tries)); do running "$station" || break; sleep 0.1; done
  if running "$station"; then echo "demo: the daemon ended while the station goes on" >&2; finish 1; fi
fi
finish 0
