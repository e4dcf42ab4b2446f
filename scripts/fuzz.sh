#!/usr/bin/env bash
# Builds the libFuzzer harnesses (tests/fuzz/*_fuzzer.cpp) with clang,
# AddressSanitizer and UndefinedBehaviorSanitizer, and runs each one for a
# bounded time from its committed seed corpus (tests/fuzz/corpus/<name>/, with
# or without the _fuzzer suffix; copied to a scratch directory so that runs
# never grow the repository).
# Usage: scripts/fuzz.sh [seconds-per-fuzzer] [build-dir]
# Exits non-zero on the first finding; the crashing input is left in
# <build-dir>/findings/<name>/.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-45}
build=${2:-build-fuzz}
bash scripts/setup.sh clang libclang-rt-14-dev
CC=clang CXX=clang++ cmake -S . -B "$build" -DIMGE_FUZZ=ON -DIMGE_WERROR=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DIMGE_BUILD_BENCH=OFF -DIMGE_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target imge_fuzzers
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
for source in tests/fuzz/*_fuzzer.cpp; do
  name=$(basename "$source" .cpp)
  corpus="$scratch/$name"
  mkdir -p "$corpus" "$build/findings/$name"
  for seeds in "tests/fuzz/corpus/$name" "tests/fuzz/corpus/${name%_fuzzer}"; do
    if [ -d "$seeds" ]; then cp -r "$seeds/." "$corpus/"; fi
  done
  echo "== $name: ${seconds}s from $(find "$corpus" -type f | wc -l) seeds"
  start=$(date +%s)
  log="$build/findings/$name/log.txt"
  if ! "$build/tests/fuzz/$name" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -max_len=4096 \
       -print_final_stats=1 -artifact_prefix="$build/findings/$name/" "$corpus" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "$name: FINDING (input in $build/findings/$name/)"
    exit 1
  fi
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")
  echo "$name: $runs executions in $(( $(date +%s) - start )) s, no findings"
done
