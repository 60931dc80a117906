#!/usr/bin/env bash
# Draws docs/overload-reaction.svg: a station in virtual time whose household overloads the main fuse.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh --plot
cmake --preset release
cmake --build --preset release --target blackoutevenings

data=$(mktemp)
trap 'rm -f "$data"' EXIT
build/release/bin/blackoutevenings --reaction > "$data"
gnuplot -e "data='$data'; picture='docs/overload-reaction.svg'" scripts/plot-reaction.gnuplot
