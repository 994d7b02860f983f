#!/usr/bin/env python3
"""Prints one table from the JSON output of the benchmark programs.

A benchmark is named "work|goal|who": rows of the same work are compared by the medians of their repetitions, of their
times or, where the goal is followed by a unit, of the amounts they counted. "work|growth|/SIZE" is one column of the
growth table. Ends with 1 when a row could not be measured; a goal that is not met is only said.
"""

import json
import re
import sys


def medians(paths):
    """(work, kind, who) -> median of the times in ns or of the amounts, in the order of the files; the same of the
    processor's time of the measuring thread; what failed."""
    found = {}
    processor = {}
    failed = []
    units = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            for run in json.load(file)["benchmarks"]:
                name = re.sub(r"/(real_time|iterations:\d+|repeats:\d+)", "", run["run_name"])
                if run.get("error_occurred"):
                    failed.append(f"{name}: {run['error_message']}")
                    continue
                if run.get("aggregate_name", "median") != "median":
                    continue
                work, kind, who = name.split("|")
                key = work, kind, who.lstrip("/")
                found[key] = run["amount"] if " " in kind else run["real_time"] * units[run["time_unit"]]
                if " " not in kind:
                    processor[key] = run["cpu_time"] * units[run["time_unit"]]
    return found, processor, failed


def show_time(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def print_table(header, rows):
    widths = [max(len(row[i]) for row in [header] + rows) for i in range(len(header))]
    for number, row in enumerate([header] + rows):
        print("  ".join(cell.ljust(width) if i == 0 else cell.rjust(width)
                        for i, (cell, width) in enumerate(zip(row, widths))).rstrip())
        if number == 0:
            print("  ".join("-" * width for width in widths))


def ratios(values, processor):
    rows = []
    for (work, kind, who), theirs in values.items():
        ours = values.get((work, kind, "norvex"))
        if kind == "growth" or who == "norvex" or ours is None:
            continue
        goal, _, unit = kind.partition(" ")
        show = (lambda value, unit=unit: f"{value:.3g} {unit}") if unit else show_time
        ratio = theirs / ours if ours > 0 else float("inf")
        part = ratio / float(goal)
        verdict = "met" if part >= 1 else f"{100 * (1 - part):.0f} % below"
        ours = processor.get((work, kind, "norvex"), 0)
        cpu = f"{processor[work, kind, who] / ours:.2f} x" if ours > 0 else ""
        rows.append([work, show(values[work, kind, "norvex"]), who, show(theirs), f"{ratio:.2f} x", cpu, f"{goal} x",
                     verdict])
    return rows


def growths(values):
    sizes = {}
    for (work, kind, size), time in values.items():
        if kind == "growth":
            sizes.setdefault(work, []).append((int(size), time))
    rows = []
    for work, points in sizes.items():
        points.sort()
        first = points[0][1]
        rows.append([f"{work} ({points[0][0]:,})", show_time(first)] + [f"{time / first:.1f} x" for _, time in points[1:]])
    return rows


def main():
    values, processor, failed = medians(sys.argv[1:])
    compared = ratios(values, processor)
    if compared:
        print_table(["work", "norvex", "against", "takes", "ratio", "by CPU", "goal", ""], compared)
    grown = growths(values)
    if grown:
        print()
        print_table(["time for ten and a hundred times the work", "once", "10 x", "100 x"], grown)
    for line in dict.fromkeys(failed):
        print(f"not measured: {line}")
    if failed or not compared:
        sys.exit(1)


if __name__ == "__main__":
    main()
