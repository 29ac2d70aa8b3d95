#!/usr/bin/env bash
# Vantor on a machine without a desktop: a private X display with openbox and a tray,
# three demo apps, a workspace captured from them, the windows scattered, and the
# workspace's hotkey pressed. Screenshots of each stage land in the folder it prints.
set -euo pipefail
cd "$(dirname "$0")/.."
vantor=${VANTOR:-build/release/src/vantor}
out=${VANTOR_DEMO_OUTPUT:-$PWD/demo-output}
mkdir -p "$out"

# A throw-away home, so the demo never touches the user's files.
demo_home=$(mktemp -d /tmp/vantor-demo-XXXXXX)
export HOME=$demo_home/home XDG_CONFIG_HOME=$demo_home/config XDG_DATA_HOME=$demo_home/data \
  XDG_CACHE_HOME=$demo_home/cache XDG_RUNTIME_DIR=$demo_home/runtime
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME/applications" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS

pids=()
cleanup() {
  # Newest first: Vantor and the apps leave before their X server does.
  for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
    kill "${pids[i]}" 2>/dev/null || true
    wait "${pids[i]}" 2>/dev/null || true
  done
  rm -rf "$demo_home"
}
trap cleanup EXIT

wait_for() { # wait_for DESCRIPTION COMMAND...: up to 20 s
  local what=$1; shift
  for _ in $(seq 200); do "$@" >/dev/null 2>&1 && return 0; sleep 0.1; done
  echo "demo: $what did not happen" >&2; exit 1
}
start() { "$@" >/dev/null 2>&1 & pids+=($!); }

Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$demo_home/display" >/dev/null 2>&1 &
pids+=($!)
wait_for "Xvfb" test -s "$demo_home/display"
export DISPLAY=:$(head -n 1 "$demo_home/display")
start openbox --sm-disable
wait_for "openbox" xprop -root _NET_SUPPORTING_WM_CHECK
start trayer --edge top --align right --widthtype pixel --width 120 --height 24 \
  --SetDockType true --transparent false --tint 0x2b2b2b
wait_for "the tray" sh -c 'xdotool search --class trayer'

entry() { # entry ID NAME COMMAND CLASS
  cat > "$XDG_DATA_HOME/applications/$1.desktop" <<ENTRY
[Desktop Entry]
Type=Application
Name=$2
Exec=$3
StartupWMClass=$4
ENTRY
}
entry demo-clock "Demo Clock" "xclock -update 1" XClock
entry demo-eyes "Demo Eyes" "xeyes" XEyes
entry demo-logo "Demo Logo" "xlogo" XLogo

start xclock -update 1 -geometry 300x300+60+80
start xeyes -geometry 360x240+420+80
start xlogo -geometry 320x320+840+300
wait_for "the demo apps" sh -c '[ "$(xdotool search --onlyvisible --name "xclock|xeyes|xlogo" | wc -l)" -ge 3 ]'

# The workspace first: Vantor binds the hotkeys of the workspaces it finds at start.
"$vantor" capture Demo | tee "$out/capture.txt"
"$vantor" >"$out/vantor.log" 2>&1 & pids+=($!)
wait_for "Vantor's window" sh -c 'xdotool search --name "^Vantor\$"'
wait_for "Vantor's hotkeys" grep -q "Registered shortcut for Demo" "$out/vantor.log"
# Closed, so the screenshots show the apps; Vantor stays in the tray.
wmctrl -c Vantor
sleep 0.5
import -window root "$out/1-captured.png"

for name in xclock xeyes xlogo; do
  for window in $(xdotool search --onlyvisible --name "^$name\$"); do
    xdotool windowmove "$window" $((RANDOM % 700)) $((RANDOM % 400))
  done
done
sleep 0.5
import -window root "$out/2-scattered.png"

# Vantor gave the first workspace Shift+Option+1 (Shift+Alt+1 on Linux).
xdotool key shift+alt+1
sleep 1
import -window root "$out/3-restored.png"

# The tray menu lists the workspaces that had a shortcut when it was built; the defaults
# were handed out after the first menu was made, so a second start shows the workspace.
kill "${pids[-1]}"; wait "${pids[-1]}" 2>/dev/null || true; unset 'pids[-1]'
"$vantor" >>"$out/vantor.log" 2>&1 & pids+=($!)
wait_for "Vantor's second start" sh -c "[ \$(grep -c \"Registered shortcut for Demo\" \"$out/vantor.log\") -ge 2 ]"
wmctrl -c Vantor
sleep 0.5
# A click on Vantor's icon in the tray opens the menu.
for window in $(xdotool search --onlyvisible --classname vantor); do
  read -r x y width < <(xwininfo -id "$window" |
    awk '/Absolute upper-left X/ {x=$NF} /Absolute upper-left Y/ {y=$NF} /Width/ {w=$NF} END {print x, y, w}')
  [ "$width" -le 48 ] && xdotool mousemove $((x + width / 2)) $((y + width / 2)) click 1 && break
done
sleep 0.7
import -window root "$out/4-tray-menu.png"
xdotool key Escape

# The main window's two tabs, in the light and the dark scheme.
for scheme in light dark; do
  kill "${pids[-1]}"; wait "${pids[-1]}" 2>/dev/null || true; unset 'pids[-1]'
  VANTOR_COLOR_SCHEME=$scheme "$vantor" >>"$out/vantor.log" 2>&1 & pids+=($!)
  wait_for "Vantor's window ($scheme)" sh -c 'xdotool search --onlyvisible --name "^Vantor\$"'
  window=$(xdotool search --onlyvisible --name "^Vantor\$" | head -n 1)
  sleep 0.7
  import -window "$window" "$out/main-window-workspaces-$scheme.png"
  xdotool mousemove --window "$window" 600 24 click 1
  sleep 0.5
  import -window "$window" "$out/main-window-settings-$scheme.png"
done

echo "Demo screenshots and Vantor's log: $out"
ls "$out"
