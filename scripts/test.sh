#!/usr/bin/env bash
# Installs what is missing (Debian 12), builds the test suite with AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs every test. Fails on any test failure or sanitizer report.
# A second run reuses the build folder.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_missing_packages

build=build-tests
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DGAMEPAD_SANITIZE=ON
cmake --build "$build"

export QT_QPA_PLATFORM=offscreen
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"

# Every test aborts on its first report; this catches one printed by a test that still exited 0.
if grep -E -n 'ERROR: (Address|Leak)Sanitizer|runtime error:' \
    "$build/Testing/Temporary/LastTest.log"; then
  echo "Sanitizer reports found (see above)." >&2
  exit 1
fi
