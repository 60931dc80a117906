#!/usr/bin/env bash
# Plays made-up half-hours of house, fuse and station in virtual time with the application that ships, and shows how
# far it is. Ten thousand take about two minutes. Status 0 when all held, 1 when something did not, with the command
# that plays that evening again; 2 for wrong usage.
#
# usage: evenings.sh [--count N] [--seed N] [--meter TYPE]
#   --count N     how many (10000)
#   --seed N      the number of the first (1)
#   --meter TYPE  what measures the house: ct (else), p1extender, homewizard, modbustcp, modbusrtu
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n 's/^# usage: /usage: /p; s/^#   --/  --/p' scripts/evenings.sh; }
for argument in "$@"; do
  case "$argument" in -h | --help) usage; exit 0 ;; esac
done

# Only the result goes to standard output.
{
  scripts/install-dependencies.sh
  cmake --preset release
  cmake --build --preset release --target blackoutevenings
} >&2
exec build/release/bin/blackoutevenings --count 10000 "$@"
