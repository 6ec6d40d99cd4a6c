#!/usr/bin/env bash
# Installs what is missing (Debian 12), builds the product and runs it: the reference host
# `gamepad-host` (device list, configuration window) when a display is available, otherwise the
# headless monitor `gamepad-monitor`, which prints every published batch as one JSON line.
#   --window   force the reference host (with --screenshot DIR it needs no display)
#   --monitor  force the monitor
# Other arguments go to the program, which runs in the current folder: relative paths are the
# user's. Without any, the host gets a simulated controller and the sample action catalogue, the
# monitor a simulated controller.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
source "$root/scripts/packages.sh"
install_missing_packages

mode=auto
case "${1:-}" in
  --window) mode=window; shift ;;
  --monitor) mode=monitor; shift ;;
esac
if [ "$mode" = auto ]; then
  if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    mode=window-if-display
  else
    mode=monitor
    echo "run.sh: no display (DISPLAY and WAYLAND_DISPLAY are unset): running the headless" \
         "monitor; --window forces the reference host." >&2
  fi
fi

build="$root/build-run"
# Build output goes to standard error: the monitor's standard output carries only JSON lines.
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DGAMEPAD_BUILD_TESTS=OFF >&2
if [ "$mode" != monitor ]; then
  cmake --build "$build" --target gamepad-host >&2
  # A display that does not answer: the host says why, and the monitor runs instead.
  if [ "$mode" = window-if-display ] && ! "$build/host/gamepad-host" --check-display; then
    echo "run.sh: running the headless monitor instead; --window forces the reference host." >&2
    mode=monitor
  fi
fi
if [ "$mode" != monitor ]; then
  [ "$#" -gt 0 ] || set -- --virtual --services "$root/host/sample-services.json"
  exec "$build/host/gamepad-host" "$@"
fi
cmake --build "$build" --target gamepad-monitor >&2
[ "$#" -gt 0 ] || set -- --virtual
exec "$build/host/gamepad-monitor" "$@"
