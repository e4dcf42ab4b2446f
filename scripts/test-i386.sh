#!/usr/bin/env bash
# Builds the libraries, the tool and the tests for 32-bit x86 and runs the
# suite. When the i386 packages cannot be had at all, says so and exits 0 so
# that only this job is skipped.
set -euo pipefail
cd "$(dirname "$0")/.."
if ! sysroot=$(bash scripts/setup-i386.sh); then
  echo "SKIPPED: the 32-bit job (i386 packages unavailable from the mirror)"
  exit 0
fi
bash scripts/test.sh "${1:-build-i386}" -DCMAKE_TOOLCHAIN_FILE=cmake/i386.cmake \
  -DIMGE_I386_SYSROOT="$sysroot" -DIMGE_BUILD_BENCH=OFF
