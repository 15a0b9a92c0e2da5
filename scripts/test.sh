#!/usr/bin/env bash
# Checks that every source follows .clang-format; builds the default and the
# sanitizer presets and runs every test in both (the installed package's consumer
# among them); then runs every benchmark once at its smallest size, so that a
# broken one fails.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
find runtime model WexVlanMapping tests bench fuzz tools examples \( -name '*.h' -o -name '*.cpp' \) \
  -print0 | xargs -0 clang-format --dry-run -Werror
jobs=$(nproc)
for preset in default asan; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done
./scripts/bench-smoke.sh build/default
