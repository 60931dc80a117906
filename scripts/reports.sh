#!/usr/bin/env bash
# Writes the reports of made-up days into docs/, and pictures of them where there is a chromium to take them:
# report-clouds (solar charging under broken clouds, which switches phases), report-disobedience (vehicles that draw
# more than they may, behind a main fuse of 25 A) and report-group (eight stations whose network falls apart).
#
# usage: reports.sh [FOLDER]
#   FOLDER   where to, if not docs/
set -euo pipefail
folder=$(realpath "${1:-$(dirname "$0")/../docs}")
cd "$(dirname "$0")/.."

declare -A days=([clouds]="--seed 42" [disobedience]="--seed 56" [group]="--group 8 --seed 33 --step 20")
declare -A heights=([clouds]=1420 [disobedience]=1420 [group]=2150)

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
  chromium --headless=new --disable-gpu --hide-scrollbars --user-data-dir="$profile" "${sandbox[@]}" --window-size="1280,$3" \
    --virtual-time-budget=2000 --screenshot="$2" "file://$1" > "$profile/log" 2>&1 || { cat "$profile/log" >&2; return 1; }
}

for name in clouds disobedience group; do
  read -ra day <<< "${days[$name]}"
  build/release/bin/currentcontrolsim "${day[@]}" --html "$folder/report-$name.html"
  if command -v chromium > /dev/null; then
    take_picture "$folder/report-$name.html" "$folder/report-$name.png" "${heights[$name]}"
  else
    echo "reports: no chromium, so no picture of report-$name.html" >&2
  fi
done
