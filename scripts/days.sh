#!/usr/bin/env bash
# Plays made-up days of a station, its house, sun and vehicles in virtual time with the application that ships, and
# shows how far it is. Status 0 when every rule held, 1 when one was broken, with the command that plays that day
# again; 2 for wrong usage.
#
# usage: days.sh [--days N] [--seed N] [--json]
#   --days N  how many (300)
#   --seed N  the number of the first (1)
#   --json    the result as JSON
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n 's/^# usage: /usage: /p; s/^#   --/  --/p' scripts/days.sh; }
for argument in "$@"; do
  case "$argument" in -h | --help) usage; exit 0 ;; esac
done

# Only the result goes to standard output.
{
  scripts/install-dependencies.sh
  cmake --preset release
  cmake --build --preset release --target currentcontrolsim
} >&2
exec build/release/bin/currentcontrolsim --days 300 "$@"
