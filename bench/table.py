#!/usr/bin/env python3
"""The table of a benchmark run: library, peer, ratio and bound of each row.

usage: table.py RESULTS.json [MORE.json ...] [--whole] [--count] [--page PAGE.md]

The results are what local_bench and remote_bench wrote. --whole: a bound that finds no figures is an error. --count: says
how many benchmarks there were, for a run whose times mean nothing. --page: puts the table into the page as
well, between its two marks. Exits with 1 when a benchmark failed or a figure is missing;
a bound that is not met is no failure, the table says it."""

import argparse
import datetime
import json
import re
import statistics
import sys

LIBRARY = "sps"
PEERS = ("dconf", "lmdb", "sqlite", "array", "echo", "redis")

# What a row of the library is held against besides the peers' rows of the same name, and how large its
# share of that may be.
BOUNDS = {
    ("sps/get/string/1k", "dconf/get/string/1k"): 1.0,
    ("sps/get/string/1M-hot", "sps/get/string/1k"): 2.0,
    ("sps/get/string/1M-cold", "lmdb/get/string/1M-cold"): 1.5,
    ("sps/get/overrides/100k", "sps/get/overrides/3"): 1.5,
    ("sps/get/overrides-any-user/100k", "sps/get/overrides-any-user/3"): None,
    ("sps/set/overrides/100k", "sps/set/overrides/3"): 1.5,
    ("sps/set/string/1k", "lmdb/set/string/1k"): 1.3,
    ("sps/set/string/1M", "lmdb/set/string/1M"): 1.3,
    ("sps/walk/100k", "sps/walk/10"): None,
    ("sps/spa-walk/100k", "sps/get/string/100k"): 2.0,
    ("sps/spa-delete/10k-transaction", "sps/spa-delete/10k"): 0.1,
    ("sps/hierarchy-load/100k", "sps/hierarchy-read/100k"): None,
    ("sps/remote-get/unix/same-core", "echo/remote-get/unix/same-core"): 2.0,
    ("sps/remote-get/unix/same-core", "redis/remote-get/unix/same-core"): 1.0,
    ("sps/remote-get/unix/two-cores", "echo/remote-get/unix/two-cores"): 2.0,
    ("sps/remote-get/unix/two-cores", "redis/remote-get/unix/two-cores"): 1.0,
    ("sps/remote-get/tls/same-core", "sps/remote-get/unix/same-core"): None,
    ("sps/remote-get/tls/two-cores", "sps/remote-get/unix/two-cores"): None,
    ("sps/remote-set/1k/8", "sps/remote-set/1k/1"): None,
    # Fifteen times the throughput.
    ("sps/remote-set/1k/64", "sps/remote-set/1k/1"): 0.067,
    ("sps/remote-set/100k/64", "sps/remote-set/100k/1"): 0.067,
}
# Nanoseconds.
LIMITS = {
    "sps/first-get/1k": 2e6,
    "sps/first-get/1M": 2e6,
    "sps/hierarchy-host/100k": 200,
    "sps/hierarchy-find/100k": 200,
}

# Google Benchmark's additions to a name.
SETTINGS = re.compile(r"/(real_time|manual_time|min_time:.*|iterations:.*|repeats:.*)$")
BEGIN, END = "<!-- begin of the table -->\n", "<!-- end of the table -->\n"


def read_medians(results):
    """Name -> nanoseconds: the median of the repetitions. What waits for the disk or another process is
    measured by the clock, the rest by the processor's time, which other programs disturb less."""
    times = {}
    # A run at random leaves them in any order; the family tells the one in which they were written down.
    for run in sorted(results["benchmarks"], key=lambda entry: entry["family_index"]):
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        if run["run_type"] != "iteration":
            continue
        name = run["run_name"]
        kind = "real_time" if re.search("/(real|manual)_time", name) else "cpu_time"
        while SETTINGS.search(name):
            name = SETTINGS.sub("", name)
        assert run["time_unit"] == "ns"
        times.setdefault(name, []).append(run[kind])
    return {name: statistics.median(values) for name, values in times.items()}


def is_met(value, bound):
    return "" if bound is None else "yes" if value <= bound else "NO"


def compare(name, medians):
    """The lines of one row of the library: one for each thing that it is held against."""
    own = medians[name]
    others = [other for row, other in BOUNDS if row == name]
    others += [peer + name.removeprefix(LIBRARY) for peer in PEERS]
    lines = []
    for other in dict.fromkeys(others):
        if other not in medians:
            continue
        bound = BOUNDS.get((name, other))
        ratio = own / medians[other]
        lines.append((name, own, other, medians[other], f"{ratio:.2f}", "" if bound is None else f"≤ {bound}",
                      is_met(ratio, bound)))
    if name in LIMITS:
        lines.append((name, own, "", None, "", f"≤ {LIMITS[name]:,.0f} ns", is_met(own, LIMITS[name])))
    return lines or [(name, own, "", None, "", "", "")]


def format_table(medians):
    head = ("row", "its ns", "against", "its ns", "ratio", "bound", "met")
    rows = []
    for name in medians:
        if name.startswith(LIBRARY + "/"):
            rows += compare(name, medians)
    cells = [head] + [tuple("" if cell is None else f"{cell:,.0f}" if isinstance(cell, float) else cell
                            for cell in row) for row in rows]
    widths = [max(len(row[column]) for row in cells) for column in range(len(head))]
    numeric = (1, 3, 4)

    def line(row):
        return "| " + " | ".join(cell.rjust(width) if column in numeric else cell.ljust(width)
                                 for column, (cell, width) in enumerate(zip(row, widths))) + " |"

    rule = "|" + "|".join("-" * (width + 1) + (":" if column in numeric else "-")
                          for column, width in enumerate(widths)) + "|"
    return "\n".join([line(cells[0]), rule] + [line(row) for row in cells[1:]]) + "\n"


def describe_machine(results):
    context = results["context"]
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        info = file.read()
    model = re.search(r"model name\s*:\s*(.*)", info)
    kind = "virtual machine" if re.search(r"^flags.*\bhypervisor\b", info, re.MULTILINE) else "machine"
    date = datetime.date.fromisoformat(context["date"][:10])
    return (f"Measured on {date}: {kind}, {context['num_cpus']} cores, "
            f"{model.group(1) if model else 'processor unknown'}. "
            f"Load when the run began: {context['load_avg'][0]:.1f}.\n")


def update_page(path, text):
    with open(path, encoding="utf-8") as file:
        page = file.read()
    before, rest = page.split(BEGIN)
    after = rest.split(END)[1]
    with open(path, "w", encoding="utf-8") as file:
        file.write(before + BEGIN + "\n" + text + "\n" + END + after)


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("results", nargs="+")
    parser.add_argument("--whole", action="store_true")
    parser.add_argument("--count", action="store_true")
    parser.add_argument("--page")
    arguments = parser.parse_args()
    medians = {}
    for path in reversed(arguments.results):
        with open(path, encoding="utf-8") as file:
            results = json.load(file)
        medians = read_medians(results) | medians
    wanted = {name for pair in BOUNDS for name in pair} | LIMITS.keys()
    missing = sorted(wanted - medians.keys())
    if not medians or (arguments.whole and missing):
        sys.exit("No figures of " + ", ".join(missing))
    if arguments.count:
        print(f"{len(medians)} benchmarks, every value right")
        return
    table = format_table(medians)
    print(table, end="")
    if arguments.page:
        scope = "" if arguments.whole else "A run of some rows only: the others were not measured.\n"
        update_page(arguments.page, describe_machine(results) + scope + "\n" + table)


if __name__ == "__main__":
    main()
