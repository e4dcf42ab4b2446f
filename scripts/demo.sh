#!/usr/bin/env bash
# The main job: builds the library and runs the example on a bundled sample.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -DIMGE_BUILD_TESTS=OFF -DIMGE_BUILD_BENCH=OFF >/dev/null
cmake --build build -j"$(nproc)" --target negate_example >/dev/null
mkdir -p out
./build/tools/negate_example out/example
