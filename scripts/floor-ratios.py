#!/usr/bin/env python3
"""The interface encap machine against its floors, from Google Benchmark JSON runs.

Reads any number of JSON files (--benchmark_format=json) of WexIntfEncapSmBench
and SweepFloorBench, run in the same session, and prints per number of encaps:
  Sweep/WexIntfEncapSm over SweepFloor/HashMap2018   the machinery over the map
                                                     work a sweep cannot avoid
  Sweep/WexIntfEncapSm over SweepKeptFloor/HashMap2018
                                                     the machinery over the map
                                                     work of what it keeps
  SweepFloor/HashMap2018 over SweepFloor/AbslFlatHashMap
  EncapAdd/WexIntfEncapSm over Insert/HashMap2018    one event in map inserts
  SweepFloor/HashMap2018 over Insert/HashMap2018     the map work of one encap
                                                     in map inserts: what an add
                                                     costs at the least
  SweepKeptFloor/HashMap2018 over Insert/HashMap2018 the same for what the
                                                     machine keeps
  bytes_per_encap of the sweep                       from the allocation counters
  bytes_per_encap of SweepFloor/HashMap2018          the slots of the floor's
                                                     tables, full
  bytes_per_encap of SweepKeptFloor/HashMap2018      the same for what the
                                                     machine keeps
With --benchmark_repetitions the medians are used.

usage: floor-ratios.py SM.json FLOOR.json
"""

import sys

from benchjson import load, ns_per_item


def ratio(runs, top, bottom):
    if top in runs and bottom in runs:
        return f"{ns_per_item(runs[top]) / ns_per_item(runs[bottom]):.2f}"
    return "-"


def bytes_of(runs, name):
    b = runs.get(name, {}).get("bytes_per_encap")
    return f"{b:.0f}" if b else "-"


def main():
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    runs = load(*sys.argv[1:])
    sizes = sorted({int(name.split("/")[2]) for name in runs
                    if name.count("/") == 2 and name.split("/")[2].isdigit()
                    and name.split("/")[0] in ("Sweep", "SweepFloor", "SweepKeptFloor", "EncapAdd")})
    print(f"{'encaps':>8}  {'sweep/floor':>11}  {'sweep/kept':>10}  {'floor/absl':>10}  "
          f"{'add/insert':>10}  {'floor/insert':>12}  {'kept/insert':>11}  {'bytes/encap':>11}  {'floor bytes':>11}  "
          f"{'kept bytes':>10}")
    for n in sizes:
        sweep = f"Sweep/WexIntfEncapSm/{n}"
        floor = f"SweepFloor/HashMap2018/{n}"
        insert = f"Insert/HashMap2018/{n}"
        kept = f"SweepKeptFloor/HashMap2018/{n}"
        print(f"{n:>8}  {ratio(runs, sweep, floor):>11}  {ratio(runs, sweep, kept):>10}  "
              f"{ratio(runs, floor, f'SweepFloor/AbslFlatHashMap/{n}'):>10}  "
              f"{ratio(runs, f'EncapAdd/WexIntfEncapSm/{n}', insert):>10}  "
              f"{ratio(runs, floor, insert):>12}  {ratio(runs, kept, insert):>11}  "
              f"{bytes_of(runs, sweep):>11}  {bytes_of(runs, floor):>11}  "
              f"{bytes_of(runs, kept):>10}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
