#!/usr/bin/env python3
"""The table `make bench` ends with: each row of goals.txt measured from the benchmark programs'
JSON output (real time per iteration), with the ratio of the neighbour's time to the library's
and whether the goal is met.

    summary.py GOALS RESULT.json...
"""
import json
import sys


def read_results(paths):
    times = {}
    for path in paths:
        try:
            with open(path, encoding="utf-8") as f:
                data = json.load(f)
        except (OSError, ValueError) as error:
            print(f"summary: {path}: {error}", file=sys.stderr)
            continue
        for bench in data.get("benchmarks", []):
            if bench.get("run_type", "iteration") != "iteration" or "real_time" not in bench:
                continue
            scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}[bench.get("time_unit", "ns")]
            times[bench["name"]] = bench["real_time"] * scale
    return times


def shown(ns):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if ns >= size:
            return f"{ns / size:.3g} {unit}"
    return f"{ns:.3g} ns"


def main(argv):
    if len(argv) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    times = read_results(argv[2:])
    rows = []
    with open(argv[1], encoding="utf-8") as f:
        for line in f:
            line = line.strip()
            if not line or line.startswith("#"):
                continue
            operation, ours, theirs, goal = [field.strip() for field in line.split(" | ")]
            rows.append((operation, ours, theirs, goal))

    print("| operation | vxUtils | neighbour | neighbour / vxUtils | goal | |")
    print("|---|---|---|---|---|---|")
    missed = 0
    for operation, ours, theirs, goal in rows:
        if ours not in times or theirs not in times:
            print(f"| {operation} | | | | {goal} | not measured |")
            continue
        ratio = times[theirs] / times[ours]
        verdict = "no goal"
        if goal != "-":
            wanted = float(goal)
            if ratio >= wanted:
                verdict = "met"
            else:
                missed += 1
                verdict = f"missed: {wanted / ratio:.2f}x short"
        print(f"| {operation} | {shown(times[ours])} | {shown(times[theirs])} | {ratio:.2f} | "
              f"{goal if goal == '-' else '>= ' + goal} | {verdict} |")
    print(f"\n{missed} goal{'s' if missed != 1 else ''} missed.")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
