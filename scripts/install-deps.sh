#!/usr/bin/env bash
# Installs the Debian 12 packages Vantor needs, skipping those already there.
#   scripts/install-deps.sh build   - to build and run Vantor
#   scripts/install-deps.sh test    - to build and run every test (includes build)
set -euo pipefail

build_packages=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-declarative-dev-tools
  qt6-svg-dev libqt6svg6
  libxcb1-dev libxcb-ewmh-dev libxcb-icccm4-dev libxcb-res0-dev libxcb-randr0-dev
  libxcb-xkb-dev libxcb-xtest0-dev libxkbcommon-dev libxkbcommon-x11-dev
  libglib2.0-dev libsqlite3-dev libsystemd-dev libsodium-dev
  qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts
  qml6-module-qtquick-window qml6-module-qtquick-templates qml6-module-qtqml
  qml6-module-qtqml-workerscript qt6-l10n-tools qt6-wayland
)
desktop_packages=(xvfb openbox trayer xdotool wmctrl x11-apps x11-utils xterm imagemagick)
test_packages=(x11-xserver-utils time strace x11-xkb-utils xkb-data galculator icewm fluxbox
  dbus-daemon dbus-x11 at-spi2-core python3-pyatspi sway foot xwayland wtype
  kwin-wayland kwin-style-breeze xdg-desktop-portal xdg-desktop-portal-kde qtwayland5
  plasma-wayland-protocols libwayland-dev qdbus-qt5)

wanted=("${build_packages[@]}")
case "${1:-build}" in
  build) wanted+=("${desktop_packages[@]}") ;;
  test) wanted+=("${desktop_packages[@]}" "${test_packages[@]}") ;;
  *) echo "usage: $0 build|test" >&2; exit 2 ;;
esac

missing=()
for package in "${wanted[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
