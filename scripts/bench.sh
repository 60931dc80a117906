#!/usr/bin/env bash
# Measures what the daemon must reach, writes docs/performance.md and draws docs/overload-reaction.svg. Status 1 when
# something is missed. Wants an otherwise idle machine, root for the networks of a group, and takes
# about five minutes.
#
# usage: bench.sh [SECONDS]    for so long a full group is led on a network: 60, or 600 for what is asked of it
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh
cmake --preset release
cmake --build --preset release --target currentcontrol currentcontrolctl stationsim currentcontrolsim currentcontrol_bench
cmake --preset dev
cmake --build --preset dev --target currentlimiter_test
scripts/plot-reaction.sh
python3 scripts/measure.py docs/performance.md "${1:-60}"
