#!/usr/bin/env python3
"""Reads the JSON results of the benchmark programs and prints one table: each comparison
of bench/goals.tsv with Velmora's and the peer's figures, their ratio and the goal's
standing. Benchmarks that no row names are listed after it, without a ratio.

    bench-table.py GOALS RESULT.json...
"""
import json
import re
import sys
from pathlib import Path


def read_goals(path):
    rows = []
    for line in Path(path).read_text().splitlines():
        if not line.strip() or line.startswith("#") or line.startswith("program\t"):
            continue
        program, velmora, peer, goal, what = line.split("\t")
        rows.append((program, re.compile(velmora + "$"), peer,
                     None if goal == "-" else float(goal), what))
    return rows


def read_results(paths):
    """{program: {name: benchmark}} for plain iterations (no aggregates but the median)."""
    results = {}
    for path in paths:
        data = json.loads(Path(path).read_text())
        program = Path(path).stem
        runs = results.setdefault(program, {})
        for b in data.get("benchmarks", []):
            if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
                continue
            if b.get("error_occurred"):
                continue
            # A fixed iteration count is how a benchmark is run, not what it measures.
            runs[re.sub(r"/iterations:\d+", "", b.get("run_name", b["name"]))] = b
    return results


UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


def seconds(b):
    """Time per iteration: CPU time for single-threaded benchmarks, which stays put while the
    machine is busy, and wall time for those that asked for it (UseRealTime names them
    ".../real_time"), run on several threads, or time themselves (".../manual_time", whose
    figure the benchmark measured itself, such as a peer's CPU time inside Python)."""
    name = b.get("run_name", b["name"])
    wall = ("/real_time" in name or "/manual_time" in name
            or re.search(r"/threads:([2-9]|\d\d)", name))
    return b["real_time" if wall else "cpu_time"] * UNITS[b.get("time_unit", "ns")]


def figure(b):
    rate = b.get("bytes_per_second")  # rates are Google Benchmark's, from CPU time
    if rate:
        return f"{rate / 1e6:.1f} MB/s"
    rate = b.get("items_per_second")
    if rate:
        return f"{rate / 1e6:.2f} M/s" if rate >= 1e5 else f"{rate:.0f} /s"
    t = seconds(b)
    for unit, scale in (("s", 1.0), ("ms", 1e-3), ("µs", 1e-6)):
        if t >= scale:
            return f"{t / scale:.3g} {unit}"
    return f"{t / 1e-9:.3g} ns"


def main():
    goals, paths = sys.argv[1], sys.argv[2:]
    results = read_results(paths)
    table, used = [], set()
    for program, velmora, peer_template, goal, what in read_goals(goals):
        runs = results.get(program, {})
        for name in sorted(runs):
            match = velmora.match(name)
            if not match:
                continue
            peer = match.expand(peer_template)
            if peer not in runs:
                continue
            used.update({(program, name), (program, peer)})
            ratio = seconds(runs[peer]) / seconds(runs[name])
            case = "/".join(g for g in match.groups() if g) or "-"
            standing = "" if goal is None else ("met" if ratio >= goal else "MISSED")
            table.append((what, case, figure(runs[name]), figure(runs[peer]), f"{ratio:.2f}",
                          "" if goal is None else f">= {goal:g}", standing))
    header = ("comparison", "case", "Velmora", "peer", "ratio", "goal", "standing")
    print_table(header, table)
    rest = [(program, name, figure(b)) for program, runs in sorted(results.items())
            for name, b in sorted(runs.items()) if (program, name) not in used]
    if rest:
        print()
        print_table(("program", "benchmark (no peer)", "figure"), rest)
    missed = sum(1 for row in table if row[-1] == "MISSED")
    print(f"\n{len(table)} comparisons, {missed} goals missed (ratio: peer's time per "
          "iteration / Velmora's, CPU time unless the benchmark runs on wall time; above 1, "
          "Velmora is faster)")


def print_table(header, rows):
    widths = [max(len(str(r[i])) for r in [header, *rows]) for i in range(len(header))]
    for r in [header, tuple("-" * w for w in widths), *rows]:
        print("  ".join(str(c).ljust(w) for c, w in zip(r, widths)).rstrip())


if __name__ == "__main__":
    main()
