#!/usr/bin/env bash
# The tests built for 32-bit ARM and run under qemu, all but those that start processes ("host"). Arguments go to ctest.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh --arm
scripts/make-arm-sysroot.sh
cmake --preset arm
cmake --build --preset arm
ctest --preset arm --parallel 2 "$@"
