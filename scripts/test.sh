#!/usr/bin/env bash
# Builds everything with warnings as errors and runs the whole test suite,
# once normally and once with the vector paths switched off.
# Usage: scripts/test.sh [build-dir] [extra cmake args...]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build=${1:-build}
shift || true
cmake -S . -B "$build" -DIMGE_WERROR=ON -DIMGE_BUILD_TESTS=ON "$@" >/dev/null
cmake --build "$build" -j"$(nproc)"
(cd "$build" && ctest --output-on-failure -j"$(nproc)")
(cd "$build" && IMGE_FORCE_SCALAR=1 ctest --output-on-failure -j"$(nproc)")
