#!/usr/bin/env bash
# Runs every benchmark of each benchmark binary of a build once, at its smallest
# size only, with a tiny measuring time, so that a broken benchmark fails without
# paying for the large sizes. Benchmarks are named <Operation>/<Implementation>/<size>;
# for each name without its size the smallest size listed is kept (a name whose
# last part is not a number runs as it is). A benchmark that reports an error
# fails the run too.
set -euo pipefail
build=${1:-build/default}
shopt -s nullglob
bins=("$build"/bench/*Bench)
if [ ${#bins[@]} -eq 0 ]; then
  echo "bench-smoke: no benchmark binary under $build/bench" >&2
  exit 1
fi
out=$(mktemp)
trap 'rm -f "$out"' EXIT
for b in "${bins[@]}"; do
  filter=$("$b" --benchmark_list_tests | python3 -c '
import re, sys
smallest, plain = {}, []
for name in (line.strip() for line in sys.stdin):
    if not name:
        continue
    head, _, size = name.rpartition("/")
    if head and size.isdigit():
        if head not in smallest or int(size) < int(smallest[head]):
            smallest[head] = size
    else:
        plain.append(name)
names = [h + "/" + s for h, s in smallest.items()] + plain
print("^(" + "|".join(re.sub(r"([][.^$*+?(){}|\\])", r"\\\1", n) for n in names) + ")$")
')
  echo "== $b"
  "$b" --benchmark_filter="$filter" --benchmark_min_time=0.001 --benchmark_format=json >"$out"
  python3 - "$out" <<'PY'
import json, sys
runs = json.load(open(sys.argv[1])).get("benchmarks", [])
failed = [b["name"] for b in runs if b.get("error_occurred")]
for b in runs:
    print("  " + b["name"] + (" FAILED: " + b.get("error_message", "") if b.get("error_occurred") else ""))
if not runs or failed:
    sys.exit("bench-smoke: " + (", ".join(failed) + " failed" if failed else "nothing ran"))
PY
done
