#!/usr/bin/env bash
# Makes build/arm-sysroot: Debian's libraries for 32-bit ARM, to build against and to run under qemu.
# Does nothing when it is there and was made by this very script.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(
  libc6-dev libstdc++-12-dev libgrpc++-dev libprotobuf-dev libjsoncpp-dev libwolfssl-dev libasio-dev
  libspdlog-dev libfmt-dev libboost1.74-dev libcurl4-openssl-dev libmodbus-dev libavahi-client-dev libmicrohttpd-dev libgtest-dev libgmock-dev googletest
)
sysroot=build/arm-sysroot
recipe=$(sha256sum < scripts/make-arm-sysroot.sh)
[ "$(cat "$sysroot/.recipe" 2> /dev/null)" != "$recipe" ] || exit 0

echo "Making $sysroot (a download of about 50 MB)"
# shellcheck disable=SC2016  # for apt-get to expand
mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Codename: bookworm' 'Architecture: amd64' | head -n 1)
[ -n "$mirror" ] || { echo "make-arm-sysroot: apt knows no mirror of Debian 12; run apt-get update" >&2; exit 1; }
rm -rf "$sysroot"
mkdir -p build
# Packages are only unpacked, nothing of theirs runs; so the mode for those who are not root does no harm.
mode=chrootless
if [ "$(id -u)" -eq 0 ]; then mode=root; fi
(IFS=,; mmdebstrap --quiet --mode="$mode" --variant=extract --architectures=armhf --aptopt='APT::Install-Recommends "false"' \
  --include="${packages[*]}" bookworm "$sysroot" "deb $mirror bookworm main")

# Links that start at the root would lead out of the sysroot: make them relative.
root=$(realpath "$sysroot")
find "$root/usr" "$root/lib" -type l -lname '/*' | while read -r link; do
  target=$(readlink "$link")
  if [ -e "$root$target" ]; then ln -sfrn "$root$target" "$link"; fi
done
# gRPC's CMake files insist that its plugins exist; they run on the building machine.
for language in cpp php python ruby; do ln -sf "/usr/bin/grpc_${language}_plugin" "$root/usr/bin/"; done
echo "$recipe" > "$sysroot/.recipe"
