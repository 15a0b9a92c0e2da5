#!/usr/bin/env python3
"""How lintel-dump scales with the file it reads.

Writes saved Lintel trace files (host byte order, the layout of
runtime/Lintel/TraceFile.h) and runs lintel-dump on them:

  time    files of 10 000 and 200 000 message descriptions listed in descending
          message numbers, each message with one record; prints the time per
          description of each and their ratio, which should stay within 2.
  memory  a file of about 3.7 KB that claims a ring of 1 GiB and is cut short,
          and a well-formed file of a few KB whose 32 levels each claim a 1 GiB
          ring; prints lintel-dump's peak resident memory, which should stay
          under 64 MB.

  scripts/lintel-scaling.py [--lintel-dump PATH] [--work DIR] [--runs N]

Exit status 0 when both bars hold, 1 when one does not. The functions that lay
out a file are also used by the tests of lintel-dump (tools/CMakeLists.txt).
"""

import argparse
import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import time

# "LINTEL\0" and the format version. Version 2 adds the type names of the
# arguments to each description; lintel-dump reads both.
MAGIC = b"LINTEL\0\1"
MAGIC_V2 = b"LINTEL\0\2"
BYTE_ORDER = 0x01020304
LEVELS = 32
RING_MIN = 64
RING_MAX = 1 << 30


def u32(v):
    return struct.pack("=I", v)


def u64(v):
    return struct.pack("=Q", v)


def string(b):
    if isinstance(b, str):
        b = b.encode()
    return u32(len(b)) + b


def description(msg_id, source, types, styles, pieces, line=1, type_names=None):
    """One message description: number, source line and file, the type letter
    and style of each argument, and the text in pieces ("%s" for each).
    `type_names` (a list, one per argument: the enumeration of an "e" argument,
    empty for the others) makes a description of version 2."""
    out = u32(msg_id) + u32(line) + string(source) + string(types) + string(styles)
    if type_names is not None:
        out += u32(len(type_names)) + b"".join(string(n) for n in type_names)
    out += u32(len(pieces)) + b"".join(string(p) for p in pieces)
    return out


def record(msg_id, seq, payload=b""):
    """One record: size, message number, sequence number, the arguments, zero
    padding to a multiple of 8."""
    size = (16 + len(payload) + 7) & ~7
    return (u32(size) + u32(msg_id) + u64(seq) + payload).ljust(size, b"\0")


def level(capacity=0, records=b"", written=None, overwritten=0, dropped=0,
          claimed=None):
    """One level: the ring's size, its counters and its records. `claimed`
    overrides the length written before the records."""
    if written is None:
        written = 0
        pos = 0
        while pos + 16 <= len(records):
            written += 1
            pos += max(struct.unpack_from("=I", records, pos)[0], 16)
    length = len(records) if claimed is None else claimed
    return (u64(capacity) + u64(written) + u64(overwritten) + u64(dropped) +
            u32(length) + records)


def ring_for(nbytes):
    capacity = RING_MIN
    while capacity < nbytes:
        capacity *= 2
    return capacity


def trace_file(descriptions, levels=None, name=b"", next_seq=1, count=None,
               level_count=LEVELS, magic=MAGIC):
    """A whole file: `descriptions` already laid out, and up to 32 levels laid
    out by level() (the missing ones closed and empty). Version 1 unless
    `magic` is MAGIC_V2 (whose descriptions have type names)."""
    levels = list(levels or [])
    levels += [level()] * (level_count - len(levels))
    out = magic + u32(BYTE_ORDER) + string(name) + u64(next_seq)
    out += u32(len(descriptions) if count is None else count) + b"".join(descriptions)
    return out + u32(level_count) + b"".join(levels)


def descending_file(n):
    """n messages numbered n down to 1, each "WexIntfEncapSm::step<id>: %s" of
    one unsigned 32-bit argument, and one record of each spread over levels 0 to
    15 in sequence order."""
    descs = [description(i, "WexVlanMapping/WexIntfEncapSm.cpp", "i", "u",
                         ["WexIntfEncapSm::step%d: " % i, "%s"], line=i)
             for i in range(n, 0, -1)]
    per_level = [[] for _ in range(16)]
    for seq in range(1, n + 1):
        per_level[seq % 16].append(record(seq, seq, u32(seq * 7)))
    levels = []
    for recs in per_level:
        body = b"".join(recs)
        levels.append(level(ring_for(len(body)), body))
    return trace_file(descs, levels, next_seq=n + 1)


def claims_big_ring_file():
    """About 3.7 KB: a few messages, and level 0 claiming a 1 GiB ring whose
    records claim 1 GiB, of which 1.8 KB are there."""
    descs = [description(i, "WexVlanMapping/WexIntfEncapSm.cpp", "i", "u",
                         ["WexIntfEncapSm::m%d: " % i, "%s"]) for i in range(1, 9)]
    body = b"".join(record(1 + s % 8, s, u32(s)) for s in range(1, 76))
    return trace_file(descs, [level(RING_MAX, body, claimed=RING_MAX)], next_seq=76)


def big_rings_file():
    """Well-formed, a few KB: every level claims a 1 GiB ring and holds a few
    records."""
    descs = [description(1, "WexVlanMapping/WexIntfEncapSm.cpp", "i", "u",
                         ["WexIntfEncapSm::m: ", "%s"])]
    levels = []
    seq = 1
    for _ in range(LEVELS):
        body = b""
        for _ in range(4):
            body += record(1, seq, u32(seq))
            seq += 1
        levels.append(level(RING_MAX, body))
    return trace_file(descs, levels, next_seq=seq)


TIME = "/usr/bin/time"


def run(dump, path):
    """Runs lintel-dump on path: seconds, exit status, stderr."""
    with open(os.devnull, "wb") as null:
        start = time.perf_counter()
        proc = subprocess.run([dump, path], stdout=null, stderr=subprocess.PIPE)
        elapsed = time.perf_counter() - start
    return elapsed, proc.returncode, proc.stderr.decode(errors="replace")


def peak(dump, path, work):
    """Runs lintel-dump on path under /usr/bin/time: peak resident KB, exit
    status, stderr. (A child's own peak counts the memory of the process that
    forked it, hence the small program between; without it, the figure is an
    upper bound that includes this script.)"""
    if os.access(TIME, os.X_OK):
        report = work / "time.out"
        with open(os.devnull, "wb") as null:
            proc = subprocess.run([TIME, "-f", "%M", "-o", str(report), dump, path],
                                  stdout=null, stderr=subprocess.PIPE)
        return int(report.read_text().split()[-1]), proc.returncode, \
            proc.stderr.decode(errors="replace")
    with open(os.devnull, "wb") as null:
        proc = subprocess.Popen([dump, path], stdout=null, stderr=subprocess.PIPE)
        err = proc.stderr.read()
        _, status, usage = os.wait4(proc.pid, 0)
        proc.returncode = os.waitstatus_to_exitcode(status)
    return usage.ru_maxrss, proc.returncode, err.decode(errors="replace")


def best(dump, path, runs):
    times = []
    for _ in range(runs):
        elapsed, rc, err = run(dump, path)
        if rc != 0:
            sys.exit("lintel-dump %s: exit status %d: %s" % (path, rc, err))
        times.append(elapsed)
    return min(times)


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--lintel-dump", default=None,
                        help="the program (default: the first of build/*/tools/lintel-dump)")
    parser.add_argument("--work", default=None, help="where the files go (default: a temporary folder)")
    parser.add_argument("--runs", type=int, default=3, help="runs of each size; the fastest counts")
    args = parser.parse_args()
    dump = args.lintel_dump
    if dump is None:
        found = sorted(root.glob("build/*/tools/lintel-dump"))
        if not found:
            sys.exit("no build/*/tools/lintel-dump: build it or give --lintel-dump")
        dump = str(found[0])
    work = pathlib.Path(args.work or tempfile.mkdtemp(prefix="lintel-scaling-"))
    work.mkdir(parents=True, exist_ok=True)
    print("lintel-dump: %s" % dump)

    ok = True
    empty = work / "empty.lintel"
    empty.write_bytes(trace_file([]))
    base = best(dump, str(empty), args.runs)
    per = {}
    for n in (10_000, 200_000):
        path = work / ("descending-%d.lintel" % n)
        path.write_bytes(descending_file(n))
        t = best(dump, str(path), args.runs)
        per[n] = (t / n, max(t - base, 0.0) / n)
        print("%7d descriptions (%5.1f MB): %.3f s, %.2f us per description "
              "(%.2f us less start-up)" % (n, path.stat().st_size / 1e6, t, per[n][0] * 1e6,
                                           per[n][1] * 1e6))
    ratio = per[200_000][0] / per[10_000][0]
    net = per[200_000][1] / per[10_000][1] if per[10_000][1] > 0 else float("nan")
    print("time per description, 200 000 / 10 000: %.2f (less start-up: %.2f); bar: 2"
          % (ratio, net))
    ok &= ratio <= 2.0

    short = work / "claims-1GiB-ring.lintel"
    short.write_bytes(claims_big_ring_file())
    rss, rc, err = peak(dump, str(short), work)
    print("%d-byte file claiming a 1 GiB ring: exit status %d, peak resident %.1f MB; bar: 64 MB"
          % (short.stat().st_size, rc, rss / 1024))
    print("  " + err.strip())
    ok &= rc == 1 and "cut short" in err and rss < 64 * 1024

    rings = work / "32-rings-of-1GiB.lintel"
    rings.write_bytes(big_rings_file())
    rss, rc, err = peak(dump, str(rings), work)
    print("%d-byte well-formed file, 32 rings of 1 GiB: exit status %d, peak resident %.1f MB"
          % (rings.stat().st_size, rc, rss / 1024))
    ok &= rc == 0 and rss < 64 * 1024
    print("bars hold" if ok else "A BAR DOES NOT HOLD")
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
