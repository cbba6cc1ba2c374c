#!/usr/bin/env bash
# Runs every benchmark program of a build directory, then the benchmark
# scripts beside this one.
set -euo pipefail
build=${1:-build}
for program in "$build"/bench/*_bench; do
  [ -x "$program" ] || continue
  echo "== $(basename "$program")"
  "$program"
done
for script in "$(dirname "$0")"/*_bench.sh; do
  echo "== $(basename "$script")"
  "$script" "$build"
done
