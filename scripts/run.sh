#!/usr/bin/env bash
# Builds Vantor and runs it with the given arguments.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build
cmake --preset release >/dev/null
cmake --build --preset release --target vantor
exec build/release/src/vantor "$@"
