#!/usr/bin/env bash
# Runs each benchmark binary of a build once, at the smallest size of each
# benchmark, with a minimal measuring time.
set -euo pipefail
build=${1:-build/default}
shopt -s nullglob
for b in "$build"/bench/*Bench; do
  echo "== $b"
  "$b" --benchmark_filter='/(0|1000)$|^[^/]*$|/[^/]*$' --benchmark_min_time=0.001 >/dev/null
done
