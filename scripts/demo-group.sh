#!/usr/bin/env bash
# Runs a group: several daemons with a simulated station each, every one in a network of its own, joined by a bridge. The
# first one leads, and there is less current than the vehicles could use. Shows what the leader knows, what the daemons log,
# and what one of them says of its limits. That one is cut off for 21 s and falls back, the others get what that frees, and
# it is led again. Ctrl-C ends it.
#
# Networks and processes are in namespaces that end with this script, even if it is killed. They need root, or a system
# where users may make namespaces. Several demonstrations do not see each other.
#
# usage: demo-group.sh --group N [--seconds N] [--root PATH]
#   --group N              so many stations, 2 to 5
#   --seconds N            end after N seconds (60); after 60 it begins again, and cuts off the next one
#   --root PATH            keep settings, sockets, logs and a journal of the group below PATH, and leave them there (else: a
#                          temporary folder)
#
# The last line says what was checked. Status: 0 ended as told, 1 a daemon failed, or a station was not led as it
# should, 2 wrong usage.
set -euo pipefail

usage() { sed -n 's/^# usage: /usage: /p; s/^#   \( *[-a-z(]\)/  \1/p' "$0"; }
refuse() { echo "demo: $1" >&2; exit "${2:-1}"; }
seconds=60
size=""
root=""
while [ $# -gt 0 ]; do
  case "$1" in
    --group | --seconds | --root) [ -n "${2-}" ] || refuse "$1 needs a value" 2 ;;&
    --group) [[ "$2" =~ ^[2-5]$ ]] || refuse "--group takes a number from 2 to 5, not '$2'" 2
      size=$2; shift 2 ;;
    --seconds) [[ "$2" =~ ^[1-9][0-9]{0,5}$ ]] || refuse "--seconds takes a whole number from 1, not '$2'" 2
      seconds=$2; shift 2 ;;
    --root) root=$(realpath --canonicalize-missing "$2"); shift 2 ;;
    -h | --help) usage; exit 0 ;;
    *) echo "demo: unknown option '$1'" >&2; usage >&2; exit 2 ;;
  esac
done
[ -n "$size" ] || { echo "demo: --group N is needed" >&2; usage >&2; exit 2; }
cd "$(dirname "$0")/.."

PATH=$PATH:/usr/sbin:/sbin
command -v ip > /dev/null || refuse "a group needs 'ip', which is not here; on Debian: apt-get install iproute2"
isolated=(unshare --net --mount --pid --fork --kill-child)
[ "$(id -u)" -eq 0 ] || isolated+=(--map-root-user)
"${isolated[@]}" true 2> /dev/null ||
  refuse "a group needs networks of its own, which this system lets only root make: run it with sudo"

mkdir -p build
(
  flock 9  # another demonstration may be building
  scripts/install-dependencies.sh
  cmake --preset release
  cmake --build --preset release --target currentcontrol currentcontrolctl stationsim
) 9> build/demo.lock

if [ -n "$root" ]; then
  mkdir -p "$root"
  exec 8> "$root/lock"  # held by all that is started
  flock --nonblock 8 || refuse "another demonstration runs below $root"
  rm -f "$root/journal" "$root/cuts" "$root/hold"
fi

# shellcheck source=scripts/processes.sh
. scripts/processes.sh
temporary=""
inside=""
# Ends all, and says what went wrong. Told so by a signal, the demonstration ends in order.
finish() {
  local status=$1 log
  trap '' INT TERM HUP PIPE
  trap - EXIT
  set +e  # whatever fails from here on, the folder goes
  exec 7>&-
  end "$inside" 15 || status=$?
  [[ "$status" =~ ^(0|129|141|143)$ ]] || status=1
  if [ "$status" -eq 0 ]; then scripts/check-group.py "$root" "$size" || status=1; fi
  if [ "$status" -eq 1 ]; then
    for log in "$root"/station-*/*.log; do
      if [ -s "$log" ]; then echo "demo: $log:" >&2; cat "$log" >&2; fi
    done
  fi
  if [ -n "$temporary" ]; then rm -rf "$temporary"; fi
  exit "$status"
}
finish_always

if [ -z "$root" ]; then
  temporary=$(mktemp -d "${TMPDIR:-/tmp}/currentcontrol.XXXXXX")
  root=$temporary
fi

# In a process group of its own, so that Ctrl-C reaches this script alone. It ends in order when its input does, which
# happens however this script ends.
mkfifo "$root/hold"
set -m
"${isolated[@]}" scripts/demo-group-inside.sh "$PWD/build/release/bin" "$root" "$size" "$seconds" < "$root/hold" &
inside=$!
set +m
exec 7> "$root/hold"
status=0
wait "$inside" || status=$?
inside=""
finish "$status"
