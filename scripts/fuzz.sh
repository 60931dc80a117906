#!/usr/bin/env bash
# Builds the fuzzers (clang, libFuzzer, address and undefined-behaviour sanitizers) and runs each for a while from its
# corpus. Shows how many inputs each tried and what it found. Status 0 when nothing was found, 1 when something was,
# with the file that shows it: it belongs into the corpus once it is understood. 2 for wrong usage.
#
# usage: fuzz.sh [--seconds N] [--keep]
#   --seconds N   for each fuzzer (60)
#   --keep        add inputs that reach something new to the corpus, the smallest that do
set -euo pipefail
cd "$(dirname "$0")/.."

readonly PARSERS=(p1parser p1framing lbpacketparser lbencryptedpacketparser)
usage() {
  sed -n 's/^# usage: /usage: /p; s/^#   --/  --/p' scripts/fuzz.sh
  echo "It fuzzes: ${PARSERS[*]}"
}
seconds=60
keep=
while [ $# -gt 0 ]; do
  case "$1" in
    -h | --help) usage; exit 0 ;;
    --keep) keep=1 ;;
    --seconds)
      seconds=${2-}
      case "$seconds" in '' | 0 | *[!0-9]*) usage >&2; exit 2 ;; esac
      shift ;;
    *) usage >&2; exit 2 ;;
  esac
  shift
done

{
  scripts/install-dependencies.sh --tsan  # for clang
  cmake --preset fuzz
  cmake --build --preset fuzz
} >&2

status=0
for name in "${PARSERS[@]}"; do
  work=build/fuzz/$name
  mkdir -p "$work/found" "$work/corpus"
  if "build/fuzz/bin/${name}_fuzz" -max_total_time="$seconds" -max_len=20000 -print_final_stats=1 \
      -artifact_prefix="$work/found/" "$work/corpus" "fuzz/corpus/$name" >"$work/log" 2>&1; then
    finding="nothing found"
  else
    finding="FOUND: $(sed -n 's/.*Test unit written to //p' "$work/log" | tail -1), see $work/log"
    status=1
  fi
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log")
  echo "$name: ${executions:-?} executions in $seconds s, $finding"
  if [ -n "$keep" ]; then
    "build/fuzz/bin/${name}_fuzz" -merge=1 -max_len=400 "fuzz/corpus/$name" "$work/corpus" >>"$work/log" 2>&1
  fi
done
exit $status
