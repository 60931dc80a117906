# shellcheck shell=bash
# For the scripts that start several programs; to be sourced.

running() { [ -n "$1" ] && kill -0 "$1" 2> /dev/null; }

# Ends a process of ours: politely, by force if it does not end within so many seconds, 5 unless said otherwise. Its
# status; 0 when there never was one.
end() {
  local tries
  [ -n "$1" ] || return 0
  if running "$1"; then kill -TERM "$1" 2> /dev/null || true; fi
  for ((tries = 0; tries < ${2:-5} * 10; ++tries)); do running "$1" || break; sleep 0.1; done
  if running "$1"; then echo "demo: process $1 does not end; killed" >&2; kill -KILL "$1"; fi
  wait "$1"
}

# Has the script's `finish STATUS` end it, however it ends. Ctrl-C is a way to end as told; PIPE is nobody reading any more.
finish_always() {
  trap 'finish $?' EXIT
  trap 'finish 0' INT
  trap 'finish 143' TERM
  trap 'finish 129' HUP
  trap 'finish 141' PIPE
}
