#!/usr/bin/env bash
# Installs what is missing (Debian 12), builds every benchmark in Release without sanitizers and
# runs them, printing one table: name, time per iteration, items per second, the longest stall of
# the event loop during the action and the processor time spent in it (bench/stallprobe.h), the
# rise of the resident memory, and the benchmark's other counters as name=value.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_missing_packages

build=build-bench
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DGAMEPAD_BUILD_TESTS=OFF \
  -DGAMEPAD_BUILD_BENCH=ON >&2
cmake --build "$build" >&2

export QT_QPA_PLATFORM=offscreen
printf '%-62s %16s %16s %10s %10s %10s  %s\n' "Benchmark" "Time" "Items/s" "Stall ms" \
  "Stall CPU" "Peak MB" "Other counters"
for program in "$build"/bench/bench_*; do
  [ -f "$program" ] && [ -x "$program" ] || continue
  # Console rows: name, time, unit, CPU time, unit, iterations, then counters as name=value.
  "$program" --benchmark_color=false 2>/dev/null | awk '
    function counter(name,    i, value) {
      for (i = 7; i <= NF; i++)
        if (index($i, name "=") == 1) { value = $i; sub(/^[^=]*=/, "", value); return value }
      return "-"
    }
    function others(    i, name, list) {
      list = ""
      for (i = 7; i <= NF; i++) {
        name = $i; sub(/=.*/, "", name)
        if ($i ~ /=/ && name !~ /^(items_per_second|stall_ms|stall_cpu_ms|peak_MB)$/)
          list = list (list == "" ? "" : " ") $i
      }
      return list == "" ? "-" : list
    }
    $2 ~ /^[0-9.]+$/ && $3 ~ /^(ns|us|ms|s)$/ {
      printf "%-62s %13s %-2s %16s %10s %10s %10s  %s\n", $1, $2, $3, counter("items_per_second"),
        counter("stall_ms"), counter("stall_cpu_ms"), counter("peak_MB"), others()
    }'
done
