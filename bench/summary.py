#!/usr/bin/env python3
"""The table `make bench` ends with: each row of goals.txt measured from the benchmark programs'
JSON output (real time per iteration), with the ratio of the neighbour's time to the library's,
whether the goal is met, and for a goal missed what goals.txt says about why.

    summary.py [--readme README.md --compiler TEXT] GOALS RESULT.json...

With --readme (or the environment variable VX_BENCH_README, which `make bench` sets) the table,
headed by the machine it was measured on, also replaces what stands between the two marker lines
of that README.md.
"""
import datetime
import json
import os
import platform
import sys

BEGIN = "<!-- the table of make bench: begin -->"
END = "<!-- the table of make bench: end -->"
UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


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
            scale = UNITS[bench.get("time_unit", "ns")]
            times[bench["name"]] = bench["real_time"] * scale
    return times


def shown(ns):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if ns >= size:
            return f"{ns / size:.3g} {unit}"
    return f"{ns:.3g} ns"


def machine(compiler):
    """One line on the machine: processor, cores, memory, system, compiler, load, date."""
    cpu = platform.processor() or platform.machine()
    memory = ""
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as f:
            names = [line.split(":", 1)[1].strip() for line in f if line.startswith("model name")]
        if names:
            cpu = names[0]
        with open("/proc/meminfo", encoding="utf-8") as f:
            kb = int(f.readline().split()[1])
        memory = f", {kb / 1048576:.0f} GiB"
    except (OSError, ValueError, IndexError):
        pass
    system = platform.system() + " " + platform.release()
    try:
        with open("/etc/os-release", encoding="utf-8") as f:
            fields = dict(line.rstrip("\n").split("=", 1) for line in f if "=" in line)
        system = fields.get("PRETTY_NAME", "").strip('"') + ", " + system
    except OSError:
        pass
    load = ""
    if hasattr(os, "getloadavg"):
        load = ", load average %.1f when the table was made" % os.getloadavg()[0]
    return (f"{cpu}, {os.cpu_count()} logical processors{memory}; {system}; {compiler}{load}; "
            f"{datetime.date.today().isoformat()}.")


def write_readme(path, heading, table):
    with open(path, encoding="utf-8") as f:
        text = f.read()
    begin, end = text.find(BEGIN), text.find(END)
    if begin < 0 or end < begin:
        print(f"summary: {path} has no marker lines; left as it is", file=sys.stderr)
        return
    text = text[:begin + len(BEGIN)] + "\n" + heading + "\n\n" + table + text[end:]
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)


def main(argv):
    readme, compiler = os.environ.get("VX_BENCH_README") or None, "compiler not given"
    while len(argv) > 2 and argv[1] in ("--readme", "--compiler"):
        if argv[1] == "--readme":
            readme = argv[2]
        else:
            compiler = argv[2]
        argv = argv[:1] + argv[3:]
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
            fields = [field.strip() for field in line.split(" | ")]
            if len(fields) == 4:
                fields.append("")
            rows.append(tuple(fields))

    lines = ["| operation | vxUtils | neighbour | neighbour / vxUtils | goal | |",
             "|---|---|---|---|---|---|"]
    missed = 0
    for operation, ours, theirs, goal, why in rows:
        wanted = goal if goal == "-" else f"<= {goal}" if goal.startswith("+") else f">= {goal}"
        if ours not in times or theirs not in times:
            lines.append(f"| {operation} | | | | {wanted} | not measured |")
            continue
        ratio = times[theirs] / times[ours]
        verdict = "no goal"
        if goal.startswith("+"):
            # At most this much time more than the neighbour ("+1 ms").
            number, unit = goal[1:].split()
            allowed = float(number) * UNITS[unit]
            extra = times[ours] - times[theirs]
            wanted += f" ({shown(max(extra, 0))} more)"
            if extra <= allowed:
                verdict = "met"
            else:
                missed += 1
                verdict = f"missed: {shown(extra - allowed)} over"
        elif goal != "-":
            if ratio >= float(goal):
                verdict = "met"
            else:
                missed += 1
                verdict = f"missed: {float(goal) / ratio:.2f}x short"
        if verdict.startswith("missed") and why:
            verdict += f"; {why}"
        lines.append(f"| {operation} | {shown(times[ours])} | {shown(times[theirs])} | {ratio:.2f} | "
                     f"{wanted} | {verdict} |")
    lines.append(f"\n{missed} goal{'s' if missed != 1 else ''} missed.\n")
    table = "\n".join(lines)
    print(table, end="")
    if readme:
        write_readme(readme, "Measured on: " + machine(compiler), table)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
