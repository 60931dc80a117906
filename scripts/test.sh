#!/usr/bin/env bash
# Installs what is missing, builds preset dev (address and undefined-behaviour sanitizers) and runs all tests.
# Arguments go to ctest, e.g. `scripts/test.sh -R Limiter`.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh
cmake --preset dev
cmake --build --preset dev
ctest --preset dev --parallel 2 "$@"
