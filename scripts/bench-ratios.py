#!/usr/bin/env python3
"""Ratio table of a Google Benchmark JSON run (--benchmark_format=json).

Benchmarks are named <Operation>/<Implementation>/<size>. For each operation and
size the table gives the nanoseconds per item of each implementation (CPU time
over items processed) and the ratios of HashMap2018 to each other implementation:
below 1 means HashMap2018 is faster. Memory benchmarks give bytes per member
instead, and the PtrCopy pair nanoseconds per copy.

With --repetitions, the median aggregate is used; without, each run as it is (the
last one when a name repeats).

usage: bench-ratios.py FILE.json
"""

import signal
import sys

from benchjson import load, ns_per_item

OURS = "HashMap2018"
PEERS = ["StdUnorderedMap", "AbslFlatHashMap"]
IMPLS = [OURS] + PEERS
OPERATIONS = ["Insert", "InsertReserved", "LookupHit", "LookupMiss", "Erase", "Iterate"]


def parse(name):
    parts = name.split("/")
    if len(parts) != 3 or not parts[2].isdigit():
        return None
    return parts[0], parts[1], int(parts[2])


def fmt(x, width, digits=2):
    return f"{x:{width}.{digits}f}" if x is not None else " " * (width - 1) + "-"


def table(title, header, rows):
    print(title)
    widths = [max(len(str(r[i])) for r in [header] + rows) for i in range(len(header))]
    line = "  ".join(h.rjust(w) if i else h.ljust(w) for i, (h, w) in enumerate(zip(header, widths)))
    print(line)
    print("-" * len(line))
    for r in rows:
        print("  ".join(str(c).rjust(w) if i else str(c).ljust(w) for i, (c, w) in enumerate(zip(r, widths))))
    print()


def main(argv):
    if len(argv) != 2:
        print(__doc__.strip(), file=sys.stderr)
        return 2
    runs = load(argv[1])
    by_key = {}
    for name, b in runs.items():
        p = parse(name)
        if p:
            by_key[p] = b

    sizes = sorted({size for (op, impl, size) in by_key if op in OPERATIONS + ["Memory"]})
    ops = [op for op in OPERATIONS if any(k[0] == op for k in by_key)]
    ops += sorted({k[0] for k in by_key if k[0] not in OPERATIONS + ["Memory", "PtrCopy"]
                   and k[1] in IMPLS})

    header = ["Operation", "size"] + [f"{i} ns" for i in IMPLS] + [f"{OURS}/{p}" for p in PEERS]
    rows = []
    for op in ops:
        for size in sizes:
            ns = {}
            for impl in IMPLS:
                b = by_key.get((op, impl, size))
                ns[impl] = ns_per_item(b) if b else None
            if all(v is None for v in ns.values()):
                continue
            ratios = [ns[OURS] / ns[p] if ns[OURS] and ns[p] else None for p in PEERS]
            rows.append([op, size] + [fmt(ns[i], 8) for i in IMPLS] + [fmt(r, 6) for r in ratios])
    if rows:
        table("Time per item (CPU time / items processed); ratio < 1: HashMap2018 faster", header, rows)

    header = ["Memory", "size"] + [f"{i} B/member" for i in IMPLS] + [f"{OURS}/{p}" for p in PEERS]
    rows = []
    for size in sizes:
        bpm = {}
        for impl in IMPLS:
            b = by_key.get(("Memory", impl, size))
            bpm[impl] = b.get("bytes_per_member") if b else None
        if all(v is None for v in bpm.values()):
            continue
        ratios = [bpm[OURS] / bpm[p] if bpm[OURS] and bpm[p] else None for p in PEERS]
        rows.append(["Memory", size] + [fmt(bpm[i], 8, 1) for i in IMPLS] + [fmt(r, 6) for r in ratios])
    if rows:
        table("Bytes per member held from the allocator (map grown from empty)", header, rows)

    rows = []
    for (op, impl, size), b in sorted(by_key.items()):
        if op == "PtrCopy":
            rows.append([f"{op}/{impl}/{size}", fmt(ns_per_item(b), 8, 3)])
    if len(rows) == 2:
        off = next((float(r[1]) for r in rows if "ThreadSafeOff" in r[0]), None)
        on = next((float(r[1]) for r in rows if "ThreadSafeOn" in r[0]), None)
        if off and on:
            rows.append(["ThreadSafeOn/ThreadSafeOff", fmt(on / off, 8)])
    if rows:
        table("Fen::Ptr copy (copy and release)", ["Benchmark", "ns per copy"], rows)
    return 0


if __name__ == "__main__":
    # Piped into head or less: stop quietly when the reader goes away.
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    sys.exit(main(sys.argv))
