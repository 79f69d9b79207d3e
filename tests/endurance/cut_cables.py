#!/usr/bin/env python3
"""Two units on a bad cable: what is set at one arrives at the other in order, both find each other again after the cable
was cut, and a file that was under way then is not there. Without root there is no such cable: the exit status is 77.

usage: cut_cables.py FOLDER-OF-PROGRAMS [SECONDS-OF-CUT]"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

from cable import Cable

PROGRAMS = pathlib.Path(sys.argv[1]).resolve()
CUT_S = int(sys.argv[2]) if len(sys.argv) > 2 else 30
FILE_BYTES = 256 << 20
KEY = "audio.delay-samples"

processes = []


def check(condition, reason):
    if not condition:
        sys.exit(f"FAILED: {reason}")


def until(seconds, what, predicate):
    start = time.monotonic()
    while not predicate():
        check(time.monotonic() - start < seconds, f"not within {seconds} s: {what}")
        time.sleep(0.1)
    return time.monotonic() - start


def spawn(place, output, program, *arguments):
    processes.append(subprocess.Popen(wire.command(place, [str(PROGRAMS / program), *arguments]),
                                      stdout=output.open("wb"), stderr=subprocess.STDOUT))
    return processes[-1]


def start_unit(place, *arguments):
    output = folder / f"unit-{place}"
    process = spawn(place, output, "quarn-unit", "--mirror", "audio.*", "--console-mask", "0x17", *arguments)
    until(10, "a unit that listens", lambda: "listens on" in output.read_text())
    return process, re.search(r"listens on (\S+)", output.read_text())[1]


def ctl(place, unit, *arguments):
    done = subprocess.run(wire.command(place, [str(PROGRAMS / "quarn-ctl"), "-u", unit, *arguments]),
                          capture_output=True, text=True, timeout=60, check=False)
    check(done.returncode == 0, f"{arguments}: {done.stderr}")
    return done.stdout


def value_at_leaf():
    return int(ctl(1, leaf_at, "get", KEY).split()[-1])


try:
    wire = Cable()
except (OSError, subprocess.CalledProcessError) as reason:
    print(f"SKIPPED: {reason}")
    sys.exit(77)
with tempfile.TemporaryDirectory() as name:
    folder = pathlib.Path(name)
    inbox = folder / "inbox"
    inbox.mkdir()
    try:
        hub, hub_at = start_unit(0, "--name", "hub", "--listen", f"{wire.address}:0", "--receive-files", str(inbox))
        leaf, leaf_at = start_unit(1, "--name", "leaf", "--listen", "127.0.0.1:0", "--peer", hub_at)
        watched = folder / "watched"
        spawn(1, watched, "quarn-ctl", "-u", leaf_at, "watch", KEY)
        until(10, "the leaf's connection", lambda: "is up" in (folder / "unit-1").read_text())
        until(10, "the watcher's first line", lambda: watched.read_text() != "")

        wire.loss, wire.delay_s = 0.2, 0.03
        for number in range(1, 201):
            ctl(0, hub_at, "set", KEY, str(number))
        took = until(60, "the last value at the leaf", lambda: value_at_leaf() == 200)
        print(f"With a fifth of the packets lost, the last of 200 values was at the other end after {took:.1f} s")
        wire.loss, wire.delay_s = 0.0, 0.0

        image = folder / "image"
        image.write_bytes(os.urandom(1 << 20) * (FILE_BYTES >> 20))
        sender = spawn(1, folder / "push", "quarn-ctl", "-u", hub_at, "push", str(image))
        until(20, "a file under way", lambda: any(part.stat().st_size > 0 for part in inbox.iterdir()))
        wire.is_cut = True
        cut = time.monotonic()
        for number in range(201, 211):
            ctl(0, hub_at, "set", KEY, str(number))
        check(sender.wait(timeout=CUT_S) != 0, "a file arrived over a cable that was cut")
        print(f"The file's sender gave up {time.monotonic() - cut:.1f} s after the cut")
        until(5, "no part of the file left", lambda: not list(inbox.iterdir()))
        time.sleep(max(0.0, cut + CUT_S - time.monotonic()))
        check(value_at_leaf() == 200, "a value passed a cable that was cut")
        wire.is_cut = False
        took = until(30, "the last value at the leaf", lambda: value_at_leaf() == 210)
        print(f"After {CUT_S} s without a cable, both were in step again {took:.1f} s after it was mended")
        image.write_bytes(image.read_bytes()[:16 << 20])
        ctl(1, hub_at, "push", str(image))
        check((inbox / "image").read_bytes() == image.read_bytes(), "the file is not what was sent")

        seen = [int(line.split()[-1]) for line in watched.read_text().splitlines()]
        check(seen == sorted(set(seen)) and seen[-1] == 210, f"the leaf saw {seen}")
        print(f"The leaf saw {len(seen)} of 211 values, each once and in order")
        for process in (leaf, hub):
            process.terminate()
            check(process.wait(timeout=20) == 0, "a unit did not end cleanly")
    finally:
        for process in processes:
            process.kill()
        wire.close()
