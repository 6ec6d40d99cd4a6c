#!/usr/bin/env bash
# Fuzzes one parser with libFuzzer: scripts/fuzz.sh TARGET SECONDS
# TARGET is one of calibration, profilemeta, overlay, mapping, registry, replay. The run starts
# from the committed corpus (fuzz/corpus/TARGET) and keeps what it finds in build-fuzz/corpus/TARGET;
# a crashing input is written to build-fuzz/ and makes the command fail.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "$#" -ne 2 ]; then
  echo "usage: scripts/fuzz.sh TARGET SECONDS" >&2
  exit 2
fi
target=$1 seconds=$2
source scripts/packages.sh
GAMEPAD_PACKAGES+=(clang libclang-rt-dev)
install_missing_packages

build=build-fuzz
CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DGAMEPAD_BUILD_TESTS=OFF -DGAMEPAD_BUILD_FUZZ=ON >&2
cmake --build "$build" --target "fuzz_$target" >&2
mkdir -p "$build/corpus/$target"
export QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=0
exec "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -max_len=1048576 \
  -artifact_prefix="$build/" "$build/corpus/$target" "fuzz/corpus/$target"
