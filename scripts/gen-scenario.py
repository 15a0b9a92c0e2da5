#!/usr/bin/env python3
"""Writes a large wexvm-sim scenario to standard output.

The scenario builds a switch and then churns it:

  build  ports Ethernet1..N; LAGs Port-Channel1..L of M member ports each (the
         first L*M ports, each in one LAG, no LAG inside a LAG); services
         Vlan1..S with forwarding information; then each encap on a port outside
         the LAGs or on a LAG, with one tag or two (outer.inner, every VLAN id in
         1..4094, no encap twice), preceded by what the simulated hardware answers
         for it: for a LAG encap, the LAG and each member port draw an answer.
         A share of the encaps can be dynamic instead of static.
  churn  K random operations, drawn from --churn-kinds:
           remove  unwant (or undynamic) an encap that is there
           readd   want (or dynamic) again an encap that was removed
           answer  a new hardware answer for an encap (its interface or, for a
                   LAG encap, its LAG or one member)
           move    a LAG member port joins another LAG (or leaves its LAG and
                   joins it again when there is one LAG); a LAG keeps one member
           downup  a port goes down, or comes back up when it is down
           retry   the platform asks for a retry pass

The output depends on the options alone: the same seed gives the same scenario,
and the build part does not depend on the churn options (the churn has its own
random stream), so that a run with --churn 0 is the build of a run with churn.

Examples:
  scripts/gen-scenario.py --encaps 200 --churn 50 --seed 1 > /tmp/small.scn
  scripts/gen-scenario.py --ports 64 --lags 8 --members-per-lag 4 --services 256 \\
      --encaps 100000 --two-tag-fraction 0.5 --answers success=90,notready=8,failed=2 \\
      --churn 1000 --seed 7 > /tmp/large.scn
"""

import argparse
import random
import sys

VID_MIN, VID_MAX = 1, 4094
ANSWERS = ("success", "notready", "failed")
CHURN_KINDS = ("remove", "readd", "answer", "move", "downup", "retry")
# How often each churn kind is drawn, relative to the others.
CHURN_WEIGHTS = {"remove": 3, "readd": 3, "answer": 3, "move": 1, "downup": 1, "retry": 1}


def answer_mix(text):
    """'success=90,notready=8,failed=2' (weights, any scale) -> weights per answer."""
    weights = dict.fromkeys(ANSWERS, 0.0)
    for part in text.split(","):
        name, sep, value = part.partition("=")
        name = name.strip()
        if not sep or name not in weights:
            raise argparse.ArgumentTypeError(
                f"bad answer mix part '{part}': give <answer>=<weight> with answer "
                "success, notready or failed")
        try:
            weights[name] = float(value)
        except ValueError:
            raise argparse.ArgumentTypeError(f"bad weight '{value}' for {name}") from None
        if weights[name] < 0:
            raise argparse.ArgumentTypeError(f"negative weight for {name}")
    if sum(weights.values()) <= 0:
        raise argparse.ArgumentTypeError("the answer mix has no positive weight")
    return weights


def churn_kinds(text):
    kinds = [k.strip() for k in text.split(",") if k.strip()]
    for k in kinds:
        if k not in CHURN_KINDS:
            raise argparse.ArgumentTypeError(
                f"unknown churn kind '{k}' (one of {', '.join(CHURN_KINDS)})")
    if not kinds:
        raise argparse.ArgumentTypeError("no churn kind")
    return kinds


def fraction(text):
    value = float(text)
    if not 0.0 <= value <= 1.0:
        raise argparse.ArgumentTypeError(f"{text} is not within 0 and 1")
    return value


def count(text):
    value = int(text)
    if value < 0:
        raise argparse.ArgumentTypeError(f"{text} is negative")
    return value


def parse_args(argv):
    p = argparse.ArgumentParser(
        description="Writes a large wexvm-sim scenario (build, then churn) to standard output.",
        epilog="The same options and seed give the same scenario.")
    p.add_argument("--ports", type=count, default=16, help="Ethernet ports (default 16)")
    p.add_argument("--lags", type=count, default=2, help="LAGs (default 2)")
    p.add_argument("--members-per-lag", type=count, default=2,
                   help="member ports of each LAG, at least 1 (default 2)")
    p.add_argument("--services", type=count, default=16,
                   help="service interfaces Vlan1..S, 1 to 4094 (default 16)")
    p.add_argument("--encaps", type=count, default=1000, help="encaps (default 1000)")
    p.add_argument("--two-tag-fraction", type=fraction, default=0.3,
                   help="share of encaps with two tags (default 0.3)")
    p.add_argument("--dynamic-fraction", type=fraction, default=0.0,
                   help="share of encaps that are dynamic rather than static (default 0)")
    p.add_argument("--answers", type=answer_mix, default=answer_mix("success=1"),
                   help="hardware answers as weights, e.g. success=90,notready=8,failed=2 "
                        "(default: success only)")
    p.add_argument("--churn", type=count, default=0,
                   help="random operations after the build (default 0)")
    p.add_argument("--churn-kinds", type=churn_kinds, default=list(CHURN_KINDS),
                   help="comma-separated kinds the churn draws from "
                        f"(default all: {','.join(CHURN_KINDS)})")
    p.add_argument("--seed", type=int, default=1, help="random seed (default 1)")
    p.add_argument("-o", "--output", help="write here instead of standard output")
    a = p.parse_args(argv)
    if a.members_per_lag < 1 and a.lags:
        p.error("--members-per-lag must be at least 1")
    if a.lags * a.members_per_lag > a.ports:
        p.error(f"{a.lags} LAGs of {a.members_per_lag} members need "
                f"{a.lags * a.members_per_lag} ports, there are {a.ports}")
    if not 1 <= a.services <= VID_MAX:
        p.error(f"--services must be within 1 and {VID_MAX} (Vlan1..Vlan{VID_MAX})")
    if a.ports > 65535 or a.lags > 65535:
        p.error("at most 65535 ports and 65535 LAGs")
    free = a.ports - a.lags * a.members_per_lag
    if a.encaps and free + a.lags == 0:
        p.error("no interface for encaps: every port is in a LAG and there is no LAG")
    return a


class Pool:
    """A set with a uniform random draw and constant-time removal."""

    def __init__(self):
        self.items = []
        self.index = {}

    def __len__(self):
        return len(self.items)

    def add(self, item):
        if item not in self.index:
            self.index[item] = len(self.items)
            self.items.append(item)

    def remove(self, item):
        i = self.index.pop(item)
        last = self.items.pop()
        if i < len(self.items):
            self.items[i] = last
            self.index[last] = i

    def pick(self, rng):
        return self.items[rng.randrange(len(self.items))]


class Generator:
    def __init__(self, a, out):
        self.a = a
        self.out = out
        self.rng = random.Random(f"build/{a.seed}")
        self.churn_rng = random.Random(f"churn/{a.seed}")
        self.ports = [f"Ethernet{i}" for i in range(1, a.ports + 1)]
        self.lags = [f"Port-Channel{i}" for i in range(1, a.lags + 1)]
        self.members = {}  # LAG -> its member ports, in order
        self.lag_of = {}  # port -> its LAG
        for i, lag in enumerate(self.lags):
            ms = self.ports[i * a.members_per_lag:(i + 1) * a.members_per_lag]
            self.members[lag] = list(ms)
            for m in ms:
                self.lag_of[m] = lag
        self.free_ports = self.ports[a.lags * a.members_per_lag:]
        self.services = [f"Vlan{i}" for i in range(1, a.services + 1)]
        self.service_of = {}  # encap -> (service, dynamic)
        self.present = Pool()  # encaps there
        self.removed = Pool()  # encaps removed by the churn
        self.down = set()
        self.lines = 0

    def emit(self, line):
        self.out.write(line)
        self.out.write("\n")
        self.lines += 1

    def answer(self, rng):
        w = self.a.answers
        return rng.choices(ANSWERS, weights=[w[k] for k in ANSWERS])[0]

    def hw_targets(self, intf):
        """Where the hardware answers for an encap on `intf`: the interface, and a
        LAG's member ports."""
        return [intf] + self.members.get(intf, [])

    def encap_command(self, encap):
        intf, tags = encap
        svc, dynamic = self.service_of[encap]
        return f"{'dynamic' if dynamic else 'want'} {intf} {tags} {svc}"

    def build(self):
        a, rng = self.a, self.rng
        self.emit(f"step Build: {a.ports} ports, {a.lags} LAGs of {a.members_per_lag}, "
                  f"{a.services} services")
        for lag in self.lags:
            self.emit(f"lag {lag} {' '.join(self.members[lag])}")
        for svc in self.services:
            self.emit(f"fwd {svc} {rng.randint(1, 4095)}")
        intfs = self.free_ports + self.lags
        used = {intf: set() for intf in intfs}
        single = {intf: 0 for intf in intfs}
        # A single-tag draw gives way to two tags once an interface has few left.
        single_max = (VID_MAX - VID_MIN + 1) * 9 // 10
        self.emit(f"step Build: {a.encaps} encaps")
        for _ in range(a.encaps):
            intf = intfs[rng.randrange(len(intfs))]
            two = rng.random() < a.two_tag_fraction or single[intf] >= single_max
            while True:
                outer = rng.randint(VID_MIN, VID_MAX)
                tags = f"{outer}.{rng.randint(VID_MIN, VID_MAX)}" if two else str(outer)
                if tags not in used[intf]:
                    break
            used[intf].add(tags)
            if not two:
                single[intf] += 1
            encap = (intf, tags)
            self.service_of[encap] = (self.services[rng.randrange(len(self.services))],
                                      rng.random() < a.dynamic_fraction)
            for target in self.hw_targets(intf):
                self.emit(f"hw {target} {tags} {self.answer(rng)}")
            self.emit(self.encap_command(encap))
            self.present.add(encap)

    def churn(self):
        a, rng = self.a, self.churn_rng
        if not a.churn:
            return
        self.emit(f"step Churn: {a.churn} operations ({','.join(a.churn_kinds)})")
        kinds = a.churn_kinds
        weights = [CHURN_WEIGHTS[k] for k in kinds]
        for _ in range(a.churn):
            for _attempt in range(8):
                if getattr(self, "churn_" + rng.choices(kinds, weights=weights)[0])(rng):
                    break
            else:
                # Nothing the kinds allow can be done (say, readd alone with
                # nothing removed): a retry pass changes nothing that matters.
                self.emit("retry")

    def churn_remove(self, rng):
        if not self.present:
            return False
        encap = self.present.pick(rng)
        self.present.remove(encap)
        self.removed.add(encap)
        _, dynamic = self.service_of[encap]
        self.emit(f"{'undynamic' if dynamic else 'unwant'} {encap[0]} {encap[1]}")
        return True

    def churn_readd(self, rng):
        if not self.removed:
            return False
        encap = self.removed.pick(rng)
        self.removed.remove(encap)
        self.present.add(encap)
        self.emit(self.encap_command(encap))
        return True

    def churn_answer(self, rng):
        if not self.present:
            return False
        intf, tags = self.present.pick(rng)
        targets = self.hw_targets(intf)
        self.emit(f"hw {targets[rng.randrange(len(targets))]} {tags} {self.answer(rng)}")
        return True

    def churn_move(self, rng):
        movable = [lag for lag in self.lags if len(self.members[lag]) >= 2]
        if not movable:
            return False
        source = movable[rng.randrange(len(movable))]
        port = self.members[source][rng.randrange(len(self.members[source]))]
        others = [lag for lag in self.lags if lag != source]
        self.members[source].remove(port)
        if others:
            target = others[rng.randrange(len(others))]
        else:
            # One LAG: the port leaves it and joins it again.
            self.emit(f"leave {port}")
            target = source
        self.members[target].append(port)
        self.lag_of[port] = target
        self.emit(f"join {port} {target}")
        return True

    def churn_downup(self, rng):
        if not self.ports:
            return False
        port = self.ports[rng.randrange(len(self.ports))]
        if port in self.down:
            self.down.discard(port)
            self.emit(f"up {port}")
        else:
            self.down.add(port)
            self.emit(f"down {port}")
        return True

    def churn_retry(self, rng):
        self.emit("retry")
        return True


def main(argv):
    a = parse_args(argv)
    out = open(a.output, "w", encoding="ascii") if a.output else sys.stdout
    try:
        out.write("# Generated by scripts/gen-scenario.py " + " ".join(argv) + "\n")
        g = Generator(a, out)
        g.build()
        g.churn()
        out.flush()
    except BrokenPipeError:
        return 1
    finally:
        if out is not sys.stdout:
            out.close()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
