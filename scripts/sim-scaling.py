#!/usr/bin/env python3
"""Time per command of wexvm-sim on a small and a large generated switch.

For each size (default 1 000 and 100 000 encaps) scripts/gen-scenario.py writes
two scenarios of the same shape and seed: the build alone, and the build
followed by a tail of measured commands (default 100 000: removals, re-adds and
new hardware answers of single encaps, each of which changes a bounded part of
the state whatever the switch holds). wexvm-sim runs each with its output to
/dev/null (with --quiet when its --help offers it). The time of the tail is the
CPU time (user + system) of the run with the tail minus that of the build-only
run, the least of --repeat runs each; divided by the tail's commands, it is the
time per command. Subtracting the build run keeps the build phase, which grows
with the size, out of the figure; the tail is long so that its time stands well
above the run-to-run noise of the build (a short tail at 100 000 encaps is lost
in it). The build's own time per command is printed beside, for information.

The script prints both figures and their ratio, large over small. The bar is a
ratio of at most 2: a command costs what it changes, not what the switch holds.
Exit status: 0 within the bar, 1 above it, 2 when a run failed or did not finish
within --timeout seconds.

usage: scripts/sim-scaling.py [--sim build/release/tools/wexvm-sim]
                              [--small 1000] [--large 100000] [--tail 100000]
                              [--repeat 3] [--timeout 900] [--seed 1]
"""

import argparse
import os
import resource
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
GENERATOR = os.path.join(HERE, "gen-scenario.py")
# The switch's shape, the same at every size: only the number of encaps changes.
SHAPE = ["--ports", "64", "--lags", "8", "--members-per-lag", "4", "--services", "256",
         "--two-tag-fraction", "0.5", "--answers", "success=90,notready=8,failed=2"]
TAIL_KINDS = "remove,readd,answer"
DEFAULT_SIMS = ["build/release/tools/wexvm-sim", "build/default/tools/wexvm-sim"]


class RunFailed(Exception):
    pass


def parse_args():
    p = argparse.ArgumentParser(
        description="Time per command of wexvm-sim at two sizes, and their ratio.")
    p.add_argument("--sim", help="the wexvm-sim program (default: the first of "
                   + ", ".join(DEFAULT_SIMS) + " that exists)")
    p.add_argument("--small", type=int, default=1000, help="encaps of the small switch")
    p.add_argument("--large", type=int, default=100000, help="encaps of the large switch")
    p.add_argument("--tail", type=int, default=100000, help="measured commands after the build")
    p.add_argument("--repeat", type=int, default=3, help="runs of each scenario; the least counts")
    p.add_argument("--timeout", type=float, default=900, help="seconds allowed for one run")
    p.add_argument("--seed", type=int, default=1, help="seed of the generated scenarios")
    p.add_argument("--keep", metavar="DIR", help="write the scenarios into DIR and keep them")
    a = p.parse_args()
    if not a.sim:
        for candidate in DEFAULT_SIMS:
            if os.access(os.path.join(ROOT, candidate), os.X_OK):
                a.sim = os.path.join(ROOT, candidate)
                break
        else:
            p.error("no wexvm-sim found: build it (cmake --build --preset release "
                    "--target wexvm-sim) or give --sim")
    return a


def generate(path, encaps, tail, seed):
    with open(path, "w", encoding="ascii") as out:
        subprocess.run([sys.executable, GENERATOR, *SHAPE, "--encaps", str(encaps),
                        "--churn", str(tail), "--churn-kinds", TAIL_KINDS, "--seed", str(seed)],
                       stdout=out, check=True)


def command_counts(path):
    """The commands of the build and of the measured tail (after the churn's step)."""
    counts, in_tail = [0, 0], False
    with open(path, encoding="ascii") as f:
        for line in f:
            if line.startswith("step Churn"):
                in_tail = True
            elif line.strip() and not line.startswith(("#", "step ")):
                counts[in_tail] += 1
    return counts


def cpu_seconds(sim_args, scenario, timeout):
    """CPU time (user + system) of one run of wexvm-sim on `scenario`."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.monotonic()
    with open(os.devnull, "w") as devnull:
        proc = subprocess.Popen([*sim_args, scenario], stdout=devnull, stderr=subprocess.PIPE,
                                text=True)
        try:
            _, err = proc.communicate(timeout=timeout)
        except subprocess.TimeoutExpired:
            proc.kill()
            proc.communicate()
            raise RunFailed(f"{os.path.basename(scenario)}: did not finish within "
                            f"{timeout:g} s") from None
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if proc.returncode != 0:
        first = err.strip().splitlines()[:1]
        raise RunFailed(f"{os.path.basename(scenario)}: exit status {proc.returncode}"
                        + (f": {first[0]}" if first else ""))
    wall = time.monotonic() - start
    cpu = (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)
    return cpu, wall


def least(sim_args, scenario, a):
    best = None
    for _ in range(a.repeat):
        cpu, wall = cpu_seconds(sim_args, scenario, a.timeout)
        best = (cpu, wall) if best is None or cpu < best[0] else best
    return best


def measure(sim_args, encaps, a, folder):
    full = os.path.join(folder, f"sim-{encaps}-tail.scn")
    build = os.path.join(folder, f"sim-{encaps}-build.scn")
    generate(full, encaps, a.tail, a.seed)
    generate(build, encaps, 0, a.seed)
    built, commands = command_counts(full)
    t_build, w_build = least(sim_args, build, a)
    t_full, w_full = least(sim_args, full, a)
    tail = max(t_full - t_build, 0.0)
    per = tail / commands if commands else float("nan")
    print(f"{encaps:>8} encaps: build-only run {t_build:7.3f} s cpu ({w_build:.3f} s wall, "
          f"{t_build / max(built, 1) * 1e6:.1f} us/command over {built}); with tail "
          f"{t_full:7.3f} s cpu ({w_full:.3f} s wall); tail of {commands} commands: "
          f"{per * 1e6:.2f} us/command", flush=True)
    return per


def main():
    a = parse_args()
    help_text = subprocess.run([a.sim, "--help"], capture_output=True, text=True).stdout
    sim_args = [a.sim] + (["--quiet"] if "--quiet" in help_text else [])
    print(f"wexvm-sim: {' '.join(sim_args)}")
    print(f"shape: {' '.join(SHAPE)}; tail: {a.tail} commands of {TAIL_KINDS}, seed {a.seed}; "
          f"least of {a.repeat} runs; tail time = run with tail - build-only run (CPU time)",
          flush=True)
    with tempfile.TemporaryDirectory(prefix="sim-scaling-") as tmp:
        folder = a.keep or tmp
        if a.keep:
            os.makedirs(folder, exist_ok=True)
        try:
            small = measure(sim_args, a.small, a, folder)
            large = measure(sim_args, a.large, a, folder)
        except RunFailed as e:
            print(f"not measured: {e}")
            return 2
    if small <= 0:
        print("ratio: not measurable (the small tail took no time; raise --tail)")
        return 2
    ratio = large / small
    verdict = "within" if ratio <= 2 else "ABOVE"
    print(f"ratio {a.large}/{a.small} encaps: {ratio:.2f} ({verdict} the bar of 2)")
    return 0 if ratio <= 2 else 1


if __name__ == "__main__":
    sys.exit(main())
