#!/usr/bin/env bash
# Builds Vantor's tests (warnings as errors, ASan + UBSan) and runs every one of them,
# then builds the optimised tree and prints the benchmark figures.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh test
cmake --preset test >/dev/null
cmake --build --preset test
ctest --preset test -j2
if [ "${VANTOR_SKIP_BENCH:-0}" != 1 ]; then
  cmake --preset release >/dev/null
  cmake --build --preset release --target vantor vantor-bench
  echo "Benchmark figures:"
  build/release/bench/vantor-bench
fi
