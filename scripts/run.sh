#!/usr/bin/env bash
# The main job: installs what is missing, builds in build/release the two
# targets it runs (tools/wexvm-sim and bench/HashMapBench), runs the
# bundled small switch on the simulated platform (examples/small-switch.scn)
# and prints what each step changed; then the keyed-map benchmark in a short
# mode with its ratio table against std::unordered_map and absl::flat_hash_map.
# BENCH_MIN_TIME (seconds per benchmark, default 0.1) trades time for steadier
# figures; WEXVM_SKIP_BENCH=1 runs the switch only.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
cmake --preset release >/dev/null
# Only what this job runs: the simulator, and the benchmark unless it is skipped.
targets=(wexvm-sim)
[ "${WEXVM_SKIP_BENCH:-0}" = 1 ] || targets+=(HashMapBench)
cmake --build --preset release -j "$(nproc)" --target "${targets[@]}"
build/release/tools/wexvm-sim examples/small-switch.scn
[ "${WEXVM_SKIP_BENCH:-0}" = 1 ] && exit 0
echo
echo "== Fen::HashMap2018 beside std::unordered_map and absl::flat_hash_map"
out=build/release/HashMapBench.json
build/release/bench/HashMapBench --benchmark_min_time="${BENCH_MIN_TIME:-0.1}" \
  --benchmark_format=json >"$out"
python3 scripts/bench-ratios.py "$out"
