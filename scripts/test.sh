#!/usr/bin/env bash
# Builds everything with warnings as errors and runs the whole test suite,
# once normally and once with the vector paths switched off.
# Usage: scripts/test.sh [build-dir] [extra cmake args...]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build=${1:-build}
shift || true
cmake -S . -B "$build" -DIMGE_WERROR=ON -DIMGE_BUILD_TESTS=ON -DIMGE_PYTHON=ON \
  -DPython_EXECUTABLE=/usr/bin/python3 "$@" >/dev/null
cmake --build "$build" -j"$(nproc)"
(cd "$build" && ctest --output-on-failure -j"$(nproc)")
(cd "$build" && IMGE_FORCE_SCALAR=1 ctest --output-on-failure -j"$(nproc)")
# The Python module from the build tree; pytest exits non-zero (5) when it
# collects no test, which fails this script like any failure.
PYTHONPATH="$(cd "$build" && pwd)/python" /usr/bin/python3 -m pytest -q -p no:cacheprovider python/tests
