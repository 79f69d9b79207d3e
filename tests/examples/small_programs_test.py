#!/usr/bin/env python3
"""Runs the programs that the guide begins with, and compares all that they answer.

usage: small_programs_test.py PROGRAM-FOLDER [EMULATOR...]"""
import pathlib
import signal
import socket
import subprocess
import sys

PROGRAMS = pathlib.Path(sys.argv[1])
EMULATOR = sys.argv[2:]
DEADLINE_S = 30


def check(what, actual, expected):
    if actual != expected:
        sys.exit(f"{what}: {actual!r} instead of {expected!r}")


class Daemon:
    """One of the daemons, on a port of its own, from the start of a with statement to its end."""

    def __init__(self, name):
        self.name = name
        self.process = subprocess.Popen([*EMULATOR, PROGRAMS / name, "0"], stdout=subprocess.PIPE, text=True)
        self.port = int(self.process.stdout.readline().rpartition(":")[2])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.process.communicate(timeout=DEADLINE_S)
        check(f"{self.name}'s status", self.process.returncode, 0)


def scan(*words):
    run = subprocess.run([*EMULATOR, PROGRAMS / "scan", *map(str, words)], capture_output=True, text=True,
                         timeout=DEADLINE_S)
    return run.returncode, [line.rstrip() for line in (run.stdout + run.stderr).splitlines()]


def variables(label, scans, threshold):
    width = max(len("Value"), len(threshold), len(label))
    rows = [("Tag", "Variable", "Type", "Value"), ("0x00700002", "rf.label", "STRING", label),
            ("0x00700003", "rf.scans", "UINT32", scans), ("0x00700001", "rf.threshold-dbm", "FLOAT", threshold)]
    return [f"{tag:10}  {key:16}  {kind:6}  {value:{width}}".rstrip() for tag, key, kind, value in rows]


with Daemon("load-meter") as meter, socket.create_connection(("127.0.0.1", meter.port), DEADLINE_S) as client:
    client.sendall(b"load\nforget\npeak\npeek\n")
    with client.makefile() as answers:
        load, forgotten, peak, unknown = (answers.readline() for _ in range(4))
    check("a load, with two decimals", f"{float(load):.2f}\n", load)
    check("forgetting", (forgotten, peak), ("forgotten\n", load))
    check("an unknown word", unknown, 'unknown "peek": load, peak or forget\n')

with Daemon("scanner") as scanner:
    port = scanner.port
    exchanges = [
        ([port], 0, variables("scanner", "0", "-100.000000")),
        ([port, "set", "rf.threshold-dbm", "-80"], 0, variables("scanner", "0", "-80.000000")),
        ([port, "set", "rf.label", "van 2"], 0, variables("van 2", "0", "-80.000000")),
        ([port, 470125, 486250], 0,
         ["carrier 470125, -71.500000", "carrier 486250, -58.000000", "done 2", *variables("van 2", "1", "-80.000000")]),
        ([port, 600000, 700000], 0, ["done 0", *variables("van 2", "2", "-80.000000")]),
        ([port, 5, 1], 1, ["Refused: Cannot scan from 5 down to 1 kHz"]),
        ([port, "set", "rf.scans", "0"], 1, ["Refused: Attempted to set unsettable variant reference"]),
        ([port, "set", "rf.threshold-dbm", "loud"], 1, ['Could not convert "loud" to float']),
        ([port, "set", "rf.gain", "1"], 1, ["No variable registered in dictionary scanner for key rf.gain"]),
        ([port, "set"], 1, ["usage: scan PORT [set KEY VALUE | FROM-KHZ TO-KHZ]"]),
        ([], 1, ["usage: scan PORT [set KEY VALUE | FROM-KHZ TO-KHZ]"])]
    for words, status, lines in exchanges:
        check(f"scan {words}", scan(*words), (status, lines))
check("no scanner", scan(port), (1, ["There is no scanner, or it is gone"]))
