#!/usr/bin/env bash
# Builds the default and the sanitizer presets and runs every test in both; then
# runs every benchmark once at its smallest size, so that a broken one fails.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
jobs=$(nproc)
for preset in default asan; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done
./scripts/bench-smoke.sh build/default
