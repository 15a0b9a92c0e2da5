#!/usr/bin/env python3
"""The interface encap machine against its floors, from Google Benchmark JSON runs.

Reads any number of JSON files (--benchmark_format=json) of WexIntfEncapSmBench
and SweepFloorBench, run in the same session, and prints per number of encaps:
  Sweep/WexIntfEncapSm over SweepFloor/HashMap2018   the machinery over the map
                                                     work a sweep cannot avoid
  SweepFloor/HashMap2018 over SweepFloor/AbslFlatHashMap
  EncapAdd/WexIntfEncapSm over Insert/HashMap2018    one event in map inserts
  bytes_per_encap of the sweep                       from the allocation counters
With --benchmark_repetitions the medians are used.

usage: floor-ratios.py SM.json FLOOR.json
"""

import sys

from benchjson import load, ns_per_item


def ratio(runs, top, bottom):
    if top in runs and bottom in runs:
        return f"{ns_per_item(runs[top]) / ns_per_item(runs[bottom]):.2f}"
    return "-"


def main():
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    runs = load(*sys.argv[1:])
    sizes = sorted({int(name.split("/")[2]) for name in runs
                    if name.count("/") == 2 and name.split("/")[2].isdigit()
                    and name.split("/")[0] in ("Sweep", "SweepFloor", "EncapAdd")})
    print(f"{'encaps':>8}  {'sweep/floor':>11}  {'floor/absl':>10}  "
          f"{'add/insert':>10}  {'bytes/encap':>11}")
    for n in sizes:
        sweep = f"Sweep/WexIntfEncapSm/{n}"
        floor = f"SweepFloor/HashMap2018/{n}"
        bytes_per = runs.get(sweep, {}).get("bytes_per_encap")
        print(f"{n:>8}  {ratio(runs, sweep, floor):>11}  "
              f"{ratio(runs, floor, f'SweepFloor/AbslFlatHashMap/{n}'):>10}  "
              f"{ratio(runs, f'EncapAdd/WexIntfEncapSm/{n}', f'Insert/HashMap2018/{n}'):>10}  "
              f"{(f'{bytes_per:.0f}' if bytes_per else '-'):>11}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
