#!/usr/bin/env bash
# Writes the reports of two made-up days into docs/, and pictures of them where there is a chromium to take them:
# report-clouds (solar charging under broken clouds, which switches phases) and report-disobedience (vehicles that draw
# more than they may, behind a main fuse of 25 A).
#
# usage: reports.sh [FOLDER]
#   FOLDER   where to, if not docs/
set -euo pipefail
folder=$(realpath "${1:-$(dirname "$0")/../docs}")
cd "$(dirname "$0")/.."

declare -A seeds=([clouds]=42 [disobedience]=56)

{
  scripts/install-dependencies.sh
  cmake --preset release
  cmake --build --preset release --target currentcontrolsim
} >&2

profile=$(mktemp -d)
trap 'rm -rf "$profile"' EXIT
# A page of 1280 points and some; the picture is taken when the plots are drawn.
take_picture() {
  local sandbox=()
  if [ "$(id -u)" -eq 0 ]; then sandbox=(--no-sandbox); fi
  chromium --headless=new --disable-gpu --hide-scrollbars --user-data-dir="$profile" "${sandbox[@]}" --window-size=1280,1420 \
    --virtual-time-budget=2000 --screenshot="$2" "file://$1" > "$profile/log" 2>&1 || { cat "$profile/log" >&2; return 1; }
}

for name in clouds disobedience; do
  build/release/bin/currentcontrolsim --seed "${seeds[$name]}" --html "$folder/report-$name.html"
  if command -v chromium > /dev/null; then
    take_picture "$folder/report-$name.html" "$folder/report-$name.png"
  else
    echo "reports: no chromium, so no picture of report-$name.html" >&2
  fi
done
