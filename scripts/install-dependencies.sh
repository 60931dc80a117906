#!/usr/bin/env bash
# Installs what is missing of the Debian 12 packages that building and testing need on this machine, and of what npm
# has for the simulator's report. The libraries that a build for 32-bit ARM is linked with have a list of their own, in
# make-arm-sysroot.sh.
#
# usage: install-dependencies.sh [--tsan] [--arm] [--plot]
#   --tsan   also what the tests under the thread sanitizer need
#   --arm    also what building for 32-bit ARM and running it under qemu needs
#   --plot   also what drawing the pictures in docs/ needs
set -euo pipefail

packages=(
  g++ cmake ninja-build ccache pkg-config python3 python3-cryptography binutils
  protobuf-compiler protobuf-compiler-grpc libprotobuf-dev libgrpc++-dev
  libjsoncpp-dev libwolfssl-dev libasio-dev libspdlog-dev libfmt-dev libboost-dev
  libcurl4-openssl-dev libmodbus-dev libavahi-client-dev libmicrohttpd-dev avahi-daemon dbus iproute2
  googletest libgtest-dev libgmock-dev libbenchmark-dev
)
for option in "$@"; do
  case "$option" in
    --tsan) packages+=(clang-14 libclang-rt-14-dev) ;;
    --arm) packages+=(g++-arm-linux-gnueabihf qemu-user-static mmdebstrap) ;;
    --plot) packages+=(gnuplot-nox) ;;
    *) echo "usage: $0 [--tsan] [--arm] [--plot]" >&2; exit 2 ;;
  esac
done

# Whichever npm there is will do.
command -v npm > /dev/null || packages+=(nodejs npm)

# What the report's page is drawn with, as its lock file has it, into the tree.
install_report_library() {
  local folder output
  folder=$(dirname "${BASH_SOURCE[0]}")/../tools/currentcontrolsim/report
  [ ! "$folder/node_modules/.package-lock.json" -nt "$folder/package-lock.json" ] || return 0
  echo "Installing for the report: $(sed -n 's/^ *"\(.*\)": "\([0-9.]*\)"$/\1 \2/p' "$folder/package.json")"
  output=$(cd "$folder" && npm ci --ignore-scripts --no-audit --no-fund 2>&1) || {
    printf '%s\n' "$output" >&2; echo "install-dependencies: npm could not get it, see above (no network?)" >&2; exit 1; }
  touch "$folder/node_modules/.package-lock.json"
}

command -v apt-get > /dev/null || { echo "install-dependencies: apt-get is not here; on Debian 12 this installs: ${packages[*]}" >&2; exit 1; }

installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "${packages[@]}" 2> /dev/null || true)
missing=()
for package in "${packages[@]}"; do
  grep -qxF "installed $package" <<< "$installed" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || { install_report_library; exit 0; }

root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo > /dev/null || { echo "install-dependencies: neither root nor sudo; install by hand: ${missing[*]}" >&2; exit 1; }
  root=(sudo)
fi
echo "Installing: ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
apt() { "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq "$@" < /dev/null > "$log" 2>&1; }
apt update || { cat "$log" >&2; echo "install-dependencies: the package lists could not be read (no network?)" >&2; exit 1; }
apt install --yes --no-install-recommends "${missing[@]}" || {
  cat "$log" >&2; echo "install-dependencies: installing failed, see above: ${missing[*]}" >&2; exit 1; }
install_report_library
