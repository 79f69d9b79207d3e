#!/usr/bin/env python3
"""Tables from the JSON files of scripts/bench: the median of each case, and how many times quarn's figure it is.

Cases are named topic/what/who; the cases of one table ran in turn in one process, so that their ratios compare figures
taken within seconds of each other."""
import json
import re
import sys

SETTINGS = ("real_time", "process_time", "manual_time", "iterations:", "min_time:", "repeats:")
UNITS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def read(path):
    tables = {}
    with open(path + ".json") as file:
        report = json.load(file)
    for run in report["benchmarks"]:
        if run.get("aggregate_name") != "median":
            continue
        # Behind the three words stand sizes, and settings such as real_time.
        topic, what, who, *rest = run["run_name"].split("/")
        sizes = [part for part in rest if not part.startswith(SETTINGS) and part not in what]
        what = " ".join([what] + sizes)
        # Processor time, of all threads where there are several, unless a case times itself or waits for a disk.
        clock = "process_time" not in rest and ("real_time" in rest or "manual_time" in rest)
        time = run["real_time" if clock else "cpu_time"] * UNITS[run["time_unit"]]
        tables.setdefault(f"{topic}: {what}", {})[who] = time
    return report["context"], tables


def by_size(name):
    return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", name)]


def text(ns):
    for unit in ("ns", "us", "ms"):
        if ns < 1000:
            return f"{ns:.3g} {unit}"
        ns /= 1000
    return f"{ns:.3g} s"


for path in sys.argv[1:]:
    context, tables = read(path)
    print(f"Measured {context['date'][:10]} on {context['num_cpus']} cores of {context['mhz_per_cpu']} MHz, medians of 9 rounds.\n")
    for name, cases in sorted(tables.items(), key=lambda table: by_size(table[0])):
        print(f"### {name}\n\n| case | median | times quarn's |\n| --- | --- | --- |")
        ours = cases.get("quarn")
        for who, ns in sorted(cases.items(), key=lambda item: item[1]):
            print(f"| {who} | {text(ns)} | {ns / ours:.2f} |" if ours else f"| {who} | {text(ns)} | - |")
        print()
