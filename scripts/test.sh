#!/usr/bin/env bash
# Builds everything with warnings as errors and runs the whole test suite
# (the kernel tests walk every vector target and the plain path themselves).
# Usage: scripts/test.sh [build-dir] [extra cmake args...]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build=${1:-build}
shift || true
# The Python module is built and tested in native builds without sanitizers
# (the interpreter can load neither a 32-bit nor an instrumented module).
python=ON
case "$*" in *TOOLCHAIN_FILE*|*IMGE_SANITIZE=ON*) python=OFF ;; esac
cmake -S . -B "$build" -DIMGE_WERROR=ON -DIMGE_BUILD_TESTS=ON -DIMGE_PYTHON=$python \
  -DPython_EXECUTABLE=/usr/bin/python3 "$@" >/dev/null
cmake --build "$build" -j"$(nproc)"
(cd "$build" && ctest --output-on-failure -j"$(nproc)")
# The Python module from the build tree; pytest exits non-zero (5) when it
# collects no test, which fails this script like any failure.
[ "$python" = ON ] || exit 0
PYTHONPATH="$(cd "$build" && pwd)/python" /usr/bin/python3 -m pytest -q -p no:cacheprovider python/tests
