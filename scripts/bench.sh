#!/usr/bin/env bash
# Installs what is missing (Debian 12), builds every benchmark in Release without sanitizers and
# runs them, printing one table: name, time per iteration, items per second.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
GAMEPAD_PACKAGES+=(libbenchmark-dev)
install_missing_packages

build=build-bench
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DGAMEPAD_BUILD_TESTS=OFF \
  -DGAMEPAD_BUILD_BENCH=ON >&2
cmake --build "$build" >&2

export QT_QPA_PLATFORM=offscreen
printf '%-58s %14s %16s\n' "Benchmark" "Time" "Items/s"
for program in "$build"/bench/bench_*; do
  [ -x "$program" ] || continue
  "$program" --benchmark_format=csv 2>/dev/null | awk -F, '
    NR == 1 { for (i = 1; i <= NF; i++) column[$i] = i; next }
    {
      name = $column["name"]; gsub(/"/, "", name)
      items = $column["items_per_second"]
      printf "%-58s %11.3f %-2s %16s\n", name, $column["real_time"], $column["time_unit"],
             (items == "" ? "-" : sprintf("%.3g", items))
    }'
done
