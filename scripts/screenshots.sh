#!/usr/bin/env bash
# Makes the README's screenshots of the main window anew (docs/screenshots/), by running
# the demo on a private display.
set -euo pipefail
cd "$(dirname "$0")/.."
scratch=$(mktemp -d /tmp/vantor-screenshots-XXXXXX)
trap 'rm -rf "$scratch"' EXIT
env -u DISPLAY VANTOR_DEMO_OUTPUT="$scratch" scripts/run.sh >/dev/null
mkdir -p docs/screenshots
cp "$scratch"/main-window-*.png docs/screenshots/
ls docs/screenshots
