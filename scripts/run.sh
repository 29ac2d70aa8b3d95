#!/usr/bin/env bash
# Builds Vantor and runs it with the given arguments.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build
cmake --preset release >/dev/null
cmake --build --preset release --target vantor
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ $# -eq 0 ]; then
  # No desktop here: show what Vantor does on a private one.
  exec scripts/demo.sh
fi
exec build/release/src/vantor "$@"
