#!/usr/bin/env bash
# Installs what is missing (Debian 12), builds the runtime and runs the gamepad monitor, which
# prints every batch the controllers publish as one JSON line. Without arguments it adds the
# simulated controller (--virtual) and runs until interrupted; any arguments go to the monitor
# instead (see --help).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_missing_packages

build=build-run
# Build output goes to standard error: standard output carries only the monitor's JSON lines.
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DGAMEPAD_BUILD_TESTS=OFF >&2
cmake --build "$build" --target gamepad-monitor >&2

if [ "$#" -eq 0 ]; then
  set -- --virtual
fi
exec "$build/host/gamepad-monitor" "$@"
