#!/usr/bin/env bash
# Installs the peers the benchmarks compare with, builds the benchmarks in
# Release and runs every one of them, writing for each program its JSON
# (bench/results/<program>.json) and console output (<program>.txt), then
# bench/results/summary.txt: every line where a program sets our figure
# beside a peer's (ours, peer, ratio).
#
#   scripts/bench.sh [BUILD_DIR]      default build-bench
#   QGDI_BENCH_QUICK=1 scripts/bench.sh   one short pass of everything
#   BENCH_FILTER=<regex>                  passed to every program as --benchmark_filter
# Run it on an idle machine: the figures are wall-clock times.
set -euo pipefail
cd "$(dirname "$0")/.."

# The build's packages and the peers (pixman for row operations and transforms,
# Little CMS for Lab) come from one list; a peer that is missing at configure
# time only skips its benchmarks.
./scripts/install-deps.sh

dir=${1:-build-bench}
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DQGDI_BUILD_BENCH=ON > /dev/null
targets=()
for src in bench/*.cpp; do
  name=$(basename "$src" .cpp)
  [ "$name" = bench_util ] || targets+=("bench_$name")
done
cmake --build "$dir" -j"$(nproc)" --target "${targets[@]}"

out=bench/results
mkdir -p "$out"
summary="$out/summary.txt"
{
  echo "qgdi benchmarks $(date -u +%Y-%m-%dT%H:%M:%SZ) on $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ //')"
  echo "commit $(git rev-parse --short HEAD 2>/dev/null || echo unknown)${QGDI_BENCH_QUICK:+ (quick mode: not figures to publish)}"
} > "$summary"

args=()
[ -n "${BENCH_FILTER:-}" ] && args+=("--benchmark_filter=$BENCH_FILTER")
for name in "${targets[@]}"; do
  program="$dir/bench/$name"
  echo "== $name" | tee -a "$summary"
  "$program" "${args[@]}" --benchmark_out="$out/$name.json" --benchmark_out_format=json | tee "$out/$name.txt"
  # Each program's own comparison: the ratio table of the row operations,
  # the ratio lines of the others.
  awk '/^case \(median Mpix\/s/ {table = 1} table && NF == 0 {table = 0} table || / ratio/' "$out/$name.txt" \
    >> "$summary" || true
done
echo
cat "$summary"
