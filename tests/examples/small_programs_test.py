#!/usr/bin/env python3
"""Runs the programs that the guide begins with, and compares all that they answer.

usage: small_programs_test.py PROGRAM-FOLDER [EMULATOR...]"""
import socket
import subprocess
import sys

from programs import DEADLINE_S, Daemon, check, command


def program(name):
    return command(f"{sys.argv[1]}/{name}", sys.argv[2:])


def scan(*words):
    run = subprocess.run(program("scan") + [str(word) for word in words], capture_output=True, text=True,
                         timeout=DEADLINE_S)
    return run.returncode, [line.rstrip() for line in (run.stdout + run.stderr).splitlines()]


def variables(label, scans, threshold):
    width = max(len("Value"), len(threshold), len(label))
    rows = [("Tag", "Variable", "Type", "Value"), ("0x00700002", "rf.label", "STRING", label),
            ("0x00700003", "rf.scans", "UINT32", scans), ("0x00700001", "rf.threshold-dbm", "FLOAT", threshold)]
    return [f"{tag:10}  {key:16}  {kind:6}  {value:{width}}".rstrip() for tag, key, kind, value in rows]


with (Daemon([*program("load-meter"), "0"], ":") as meter,
      socket.create_connection(("127.0.0.1", int(meter.said.rpartition(":")[2])), DEADLINE_S) as client):
    client.sendall(b"load\nforget\npeak\npeek\n")
    with client.makefile() as answers:
        load, forgotten, peak, unknown = (answers.readline() for _ in range(4))
    check("a load, with two decimals", f"{float(load):.2f}\n", load)
    check("forgetting", (forgotten, peak), ("forgotten\n", load))
    check("an unknown word", unknown, 'unknown "peek": load, peak or forget\n')

with Daemon([*program("scanner"), "0"], ":") as scanner:
    port = int(scanner.said.rpartition(":")[2])
    for words, status, lines in [
            ([port, "set", "rf.threshold-dbm", "-80"], 0, variables("scanner", "0", "-80.000000")),
            ([port, 470125, 486250], 0, ["carrier 470125, -71.500000", "carrier 486250, -58.000000", "done 2",
                                         *variables("scanner", "1", "-80.000000")]),
            ([port, 5, 1], 1, ["Refused: Cannot scan from 5 down to 1 kHz"]),
            ([port, "set", "rf.scans", "0"], 1, ["Refused: Attempted to set unsettable variant reference"]),
            ([port, "set", "rf.gain", "1"], 1, ["No variable registered in dictionary scanner for key rf.gain"]),
            ([port, "set"], 1, ["usage: scan PORT [set KEY VALUE | FROM-KHZ TO-KHZ]"])]:
        check(f"scan {words}", scan(*words), (status, lines))
check("no scanner", scan(port), (1, ["There is no scanner, or it is gone"]))
