#!/usr/bin/env bash
# The tests that start threads, built with clang and run under the thread sanitizer. Arguments go to ctest.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh --tsan
cmake --preset tsan
cmake --build --preset tsan
ctest --preset tsan --parallel 2 "$@"
