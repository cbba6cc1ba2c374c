#!/usr/bin/env bash
# Runs every benchmark program of a build directory.
set -euo pipefail
build=${1:-build}
for program in "$build"/bench/*_bench; do
  [ -x "$program" ] || continue
  echo "== $(basename "$program")"
  "$program"
done
