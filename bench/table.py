#!/usr/bin/env python3
"""Prints one table from the JSON output of the benchmark programs.

A benchmark is named "work|goal|who": rows of the same work are compared by the medians of their repetitions.
"work|growth|/SIZE" is one column of the growth table.
"""

import json
import sys


def medians(paths):
    """(work, kind, who) -> median time in nanoseconds, in the order of the files."""
    found = {}
    units = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            for run in json.load(file)["benchmarks"]:
                if run.get("aggregate_name") != "median" or run.get("error_occurred"):
                    continue
                work, kind, who = run["run_name"].removesuffix("/real_time").split("|")
                found[work, kind, who.lstrip("/")] = run["real_time"] * units[run["time_unit"]]
    return found


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


def ratios(times):
    rows = []
    for (work, kind, who), theirs in times.items():
        ours = times.get((work, kind, "norvex"))
        if kind == "growth" or who == "norvex" or ours is None:
            continue
        ratio = theirs / ours
        verdict = "" if ratio >= float(kind) else "below"
        rows.append([work, show_time(ours), who, show_time(theirs), f"{ratio:.2f} x", f"{kind} x", verdict])
    return rows


def growths(times):
    sizes = {}
    for (work, kind, size), time in times.items():
        if kind == "growth":
            sizes.setdefault(work, []).append((int(size), time))
    rows = []
    for work, points in sizes.items():
        points.sort()
        first = points[0][1]
        rows.append([f"{work} ({points[0][0]:,})", show_time(first)] + [f"{time / first:.1f} x" for _, time in points[1:]])
    return rows


def main():
    times = medians(sys.argv[1:])
    compared = ratios(times)
    if not compared:
        sys.exit("table.py: no comparison in the files given")
    print_table(["work", "norvex", "against", "takes", "ratio", "goal", ""], compared)
    grown = growths(times)
    if grown:
        print()
        print_table(["time for ten and a hundred times the work", "once", "10 x", "100 x"], grown)


if __name__ == "__main__":
    main()
