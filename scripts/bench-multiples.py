#!/usr/bin/env python3
"""Cost of state-machine events as multiples of one keyed-map insert.

Reads a Google Benchmark JSON run of WexIntfEncapSmBench or
WexIntfEncapMuxSmBench. For each <Operation>/<machine>/<n> it prints the nanoseconds per item (CPU time over
items processed) and that figure divided by the nanoseconds per item of
Insert/HashMap2018 at the nearest size measured; with repetitions, medians. Then the sweep's scaling (cost
per item at the largest size over the smallest) and the memory per encap or id.

usage: bench-multiples.py FILE.json
"""

import sys

from benchjson import load, ns_per_item


def main(path):
    # With --benchmark_repetitions the median of the repetitions stands for each
    # benchmark (the machines are shared and noisy); otherwise its one run.
    by_name = load(path)
    inserts = {}
    events = []
    for name, b in by_name.items():
        op, impl, size = name.split("/")
        if impl == "HashMap2018" and op == "Insert":
            inserts[int(size)] = ns_per_item(b)
        elif impl != "HashMap2018":
            # A floor (the same work without the machine) keeps its name beside the event.
            events.append((op if impl != "Floor" else op + "(floor)", int(size), b))
    if not inserts:
        sys.exit("bench-multiples: no Insert/HashMap2018 run in " + path)
    print(f"{'event':<34} {'ns/item':>10} {'inserts':>9}  (unit: Insert/HashMap2018 at size)")
    for op, size, b in events:
        unit_size = min(inserts, key=lambda s: abs(s - size))
        ns = ns_per_item(b)
        print(f"{op + '/' + str(size):<34} {ns:>10.1f} {ns / inserts[unit_size]:>9.1f}  ({unit_size})")
    sweeps = sorted((size, b) for op, size, b in events if op == "Sweep")
    if len(sweeps) >= 2:
        (small, bs), (large, bl) = sweeps[0], sweeps[-1]
        print(f"\nsweep cost per item at {large} over {small}: "
              f"{ns_per_item(bl) / ns_per_item(bs):.2f}")
    for size, b in sweeps:
        for unit in ("encap", "id"):
            if f"bytes_per_{unit}" in b:
                heap = b.get(f"heap_bytes_per_{unit}")
                heap_text = f" ({heap:.0f} from the allocator)" if heap is not None else ""
                print(f"memory per {unit} at {size}: {b[f'bytes_per_{unit}']:.0f} bytes in the "
                      f"machine{heap_text}, {b.get(f'input_bytes_per_{unit}', 0):.0f} in its inputs")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
