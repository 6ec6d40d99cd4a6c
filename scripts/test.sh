#!/usr/bin/env bash
# Installs what is missing (Debian 12), builds the test suite with AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs every test: offscreen, then the reference host on a virtual
# X server. Fails on any test failure or sanitizer report. A second run reuses the build folder.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_missing_packages

build=build-tests
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DGAMEPAD_SANITIZE=ON
cmake --build "$build"

# Every test aborts on its first report; this catches one printed by a test that still exited 0.
check_sanitizer_reports() {
  if grep -E -n 'ERROR: (Address|Leak)Sanitizer|runtime error:' \
      "$build/Testing/Temporary/LastTest.log"; then
    echo "Sanitizer reports found (see above)." >&2
    exit 1
  fi
}

export QT_QPA_PLATFORM=offscreen
ctest --test-dir "$build" --output-on-failure -j "$(nproc)" -LE realdisplay
check_sanitizer_reports

# Xvfb picks a free display number and writes it once it accepts clients.
display_file="$build/xvfb-display"
rm -f "$display_file"
Xvfb -displayfd 3 -screen 0 1600x1000x24 -nolisten tcp 3>"$display_file" 2>"$build/xvfb.log" &
xvfb_pid=$!
trap 'kill "$xvfb_pid" 2>/dev/null || true' EXIT
if ! timeout 20 bash -c "until [ -s '$display_file' ]; do sleep 0.1; done"; then
  cat "$build/xvfb.log" >&2
  echo "Xvfb did not start." >&2
  exit 1
fi
GAMEPAD_TEST_DISPLAY=":$(cat "$display_file")" \
  timeout 300 ctest --test-dir "$build" --output-on-failure -L realdisplay
check_sanitizer_reports
