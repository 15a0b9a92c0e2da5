#!/usr/bin/env bash
# Installs what is missing, builds the release preset, runs the keyed-map benchmark
# (every operation, implementation and size, with a short measuring time) and
# prints the ratio table of Fen::HashMap2018 against std::unordered_map and
# absl::flat_hash_map. The JSON of the run stays in build/release/HashMapBench.json.
# BENCH_MIN_TIME (seconds per benchmark, default 0.1) trades time for steadier figures.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"
out=build/release/HashMapBench.json
build/release/bench/HashMapBench --benchmark_min_time="${BENCH_MIN_TIME:-0.1}" \
  --benchmark_format=json >"$out"
python3 scripts/bench-ratios.py "$out"
