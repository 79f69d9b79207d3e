#!/usr/bin/env python3
"""Rows for bench/ratios.gp from the tables of scripts/bench, without those of which there is nothing to compare:
   bench/ratios.py libraries|byhand TABLES.md
A row is the case, who did it, and how many times quarn's time it took."""
import re
import sys

LIBRARIES = {"asio", "libdeflate", "libevent", "libuv", "lmdb", "protobuf", "spdlog", "sqlite", "timed_mutex", "zlib"}



def by_size(name):
    return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", name)]


kind, path = sys.argv[1:]
rows = []
for line in open(path):
    if heading := re.match(r"### (.*)", line):
        case = re.sub(r"(\w+):(\d+)", r"\2 \1", heading[1]).replace("_", " ")
    elif row := re.match(r"\| (\S.*) \| .* \| ([\d.]+) \|", line):
        who, ratio = row.groups()
        if not who.startswith("quarn") and (who in LIBRARIES) == (kind == "libraries"):
            rows.append((f"{case} - {who.replace('_', ' ')}", ratio))
for name, ratio in sorted(rows, key=lambda row: by_size(row[0])):
    print(f"{name}\t{ratio}")
