#!/usr/bin/env bash
# Builds everything with warnings as errors and runs the whole test suite
# (the kernel tests walk every vector target and the plain path themselves).
# Usage: scripts/test.sh [build-dir] [extra cmake args...]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build=${1:-build}
shift || true
cmake -S . -B "$build" -DIMGE_WERROR=ON -DIMGE_BUILD_TESTS=ON "$@" >/dev/null
cmake --build "$build" -j"$(nproc)"
(cd "$build" && ctest --output-on-failure -j"$(nproc)")
