#!/usr/bin/env bash
# The tests built for 32-bit ARM and run under qemu, all but those that start processes ("host"). Arguments go to ctest.
set -euo pipefail
cd "$(dirname "$0")/.."

case "$PWD" in *[[:space:]]*) echo "test-arm: pkg-config cannot use a sysroot below a path with spaces: $PWD" >&2; exit 1 ;; esac
scripts/install-dependencies.sh --arm
scripts/make-arm-sysroot.sh
cmake --preset arm
cmake --build --preset arm
ctest --preset arm --parallel 2 "$@"
