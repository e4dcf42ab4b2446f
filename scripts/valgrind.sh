#!/usr/bin/env bash
# Runs the unit tests of an existing build (library and tool) under valgrind's
# memcheck with leak checking; any memory error or definite/indirect leak
# fails. The whole suite takes about a minute under valgrind on the CI
# machine, so it all runs; IMGE_VALGRIND_FILTER (a --gtest_filter) narrows it
# when iterating.
# Usage: scripts/valgrind.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
bash scripts/setup.sh valgrind
filter=${IMGE_VALGRIND_FILTER:-*}
for tests in imge_tests imge_tool_tests; do
  [ -x "$build/tests/$tests" ] || continue
  echo "valgrind: $tests"
  valgrind --quiet --leak-check=full --errors-for-leak-kinds=definite,indirect --error-exitcode=1 \
    "$build/tests/$tests" --gtest_filter="$filter" --gtest_brief=1
done
