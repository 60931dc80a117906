#!/usr/bin/env bash
# Plays made-up groups of stations in virtual time with the leader and the followers that ship, with vehicles, lost
# packets, partitions, restarts and second leaders, and shows how far it is. Status 0 when every rule held, 1 when one
# was broken, with the command that plays that group again and tells what happens in it; 2 for wrong usage.
#
# usage: groups.sh [--count N] [--seed N] [--minutes N] [--told] [--json]
#   --count N    how many (2000)
#   --seed N     the number of the first (1)
#   --minutes N  how long each is watched (60)
#   --told       play the first one alone, and tell what happens in it
#   --json       the result as JSON
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n 's/^# usage: /usage: /p; s/^#   --/  --/p' scripts/groups.sh; }
many=(--count 2000)
for argument in "$@"; do
  case "$argument" in
    -h | --help) usage; exit 0 ;;
    -t | --told) many=() ;;
  esac
done

# Only the result goes to standard output.
{
  scripts/install-dependencies.sh
  cmake --preset release
  cmake --build --preset release --target grouptrials
} >&2
exec build/release/bin/grouptrials "${many[@]}" "$@"
