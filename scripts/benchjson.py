"""Reading Google Benchmark JSON runs (--benchmark_format=json), for the scripts
that print ratios from them.

load() gives each run by name: the median aggregate where there are repetitions,
else the run as it is (the last one when a name repeats); failed runs are warned
about and left out. ns_per_item() gives a run's nanoseconds per item processed
(CPU time when it counted no items).
"""

import json
import sys

TIME_UNIT_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def load(*paths):
    runs = {}
    medians = {}
    for path in paths:
        with open(path, encoding="utf-8") as f:
            data = json.load(f)
        for b in data.get("benchmarks", []):
            if b.get("error_occurred"):
                print(f"warning: {b.get('name')} failed: {b.get('error_message')}",
                      file=sys.stderr)
                continue
            name = b.get("run_name", b["name"])
            if b.get("run_type") == "aggregate":
                if b.get("aggregate_name") == "median":
                    medians[name] = b
            else:
                runs[name] = b
    runs.update(medians)
    return runs


def ns_per_item(b):
    rate = b.get("items_per_second")
    if rate:
        return 1e9 / rate
    return b["cpu_time"] * TIME_UNIT_NS.get(b.get("time_unit", "ns"), 1.0)
