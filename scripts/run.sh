#!/usr/bin/env bash
# Installs what is missing (Debian 12), builds the product and runs it: the reference host
# `gamepad-host` (device list, configuration window) when a display is available, otherwise the
# headless monitor `gamepad-monitor`, which prints every published batch as one JSON line.
#   --window   force the reference host (with --screenshot DIR it needs no display)
#   --monitor  force the monitor
# Other arguments go to the program. Without any, the host gets a simulated controller and the
# sample action catalogue, the monitor a simulated controller.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_missing_packages

mode=auto
case "${1:-}" in
  --window) mode=window; shift ;;
  --monitor) mode=monitor; shift ;;
esac
if [ "$mode" = auto ]; then
  if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    mode=window
  else
    mode=monitor
    echo "run.sh: no display (DISPLAY and WAYLAND_DISPLAY are unset): running the headless" \
         "monitor; --window forces the reference host." >&2
  fi
fi

build=build-run
# Build output goes to standard error: the monitor's standard output carries only JSON lines.
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DGAMEPAD_BUILD_TESTS=OFF >&2
if [ "$mode" = window ]; then
  cmake --build "$build" --target gamepad-host >&2
  [ "$#" -gt 0 ] || set -- --virtual --services host/sample-services.json
  exec "$build/host/gamepad-host" "$@"
fi
cmake --build "$build" --target gamepad-monitor >&2
[ "$#" -gt 0 ] || set -- --virtual
exec "$build/host/gamepad-monitor" "$@"
