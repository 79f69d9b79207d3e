#!/usr/bin/env python3
"""Two units on a bad cable: what is set at one arrives at the other in order, both find each other again after the cable
was cut, and a file that was under way then is not there.

usage: cut_cables.py FOLDER-OF-PROGRAMS [SECONDS-OF-CUT]"""
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time

import cable

PROGRAMS = pathlib.Path(sys.argv[1]).resolve()
CUT_S = int(sys.argv[2]) if len(sys.argv) > 2 else 30
FILE_BYTES = 256 << 20
KEY = "audio.delay-samples"

wire = cable.lay_cable()
has_packets = isinstance(wire, cable.NamespaceCable)
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


def start_unit(place, folder, *arguments):
    output = folder / f"unit-{place}"
    process = spawn(place, output, "quarn-unit", "--mirror", "audio.*", "--console-mask", "0x17", *arguments)
    until(10, "a unit that listens", lambda: "listens on" in output.read_text())
    return process, int(re.search(r"listens on \S+:(\d+)", output.read_text())[1])


def ctl(place, port, *arguments, address=None):
    address = address or (wire.address if place == 0 else "127.0.0.1")
    return subprocess.run(wire.command(place, [str(PROGRAMS / "quarn-ctl"), "-u", f"{address}:{port}", *arguments]),
                          capture_output=True, text=True, timeout=60, check=False)


def value(place, port):
    return int(ctl(place, port, "get", KEY).stdout.split()[-1])


with tempfile.TemporaryDirectory() as name:
    folder = pathlib.Path(name)
    inbox = folder / "inbox"
    inbox.mkdir()
    try:
        print(f"The cable: {wire.kind}")
        hub, hub_port = start_unit(0, folder, "--name", "hub", "--listen", f"{wire.address}:0",
                                   "--receive-files", str(inbox))
        far_port = hub_port if has_packets else wire.carry(hub_port)
        leaf, leaf_port = start_unit(1, folder, "--name", "leaf", "--listen", "127.0.0.1:0",
                                     "--peer", f"{wire.address}:{far_port}")
        watched = folder / "watched"
        spawn(1, watched, "quarn-ctl", "-u", f"127.0.0.1:{leaf_port}", "watch", KEY)
        until(10, "the leaf's connection", lambda: "is up" in (folder / "unit-1").read_text())
        until(10, "the watcher's first line", lambda: watched.read_text() != "")

        wire.condition.loss, wire.condition.delay_s = 0.2, 0.03
        for number in range(1, 201):
            check(ctl(0, hub_port, "set", KEY, str(number)).returncode == 0, "setting a variable")
        took = until(60, "the last value at the leaf", lambda: value(1, leaf_port) == 200)
        print(f"With a fifth of the packets lost, the last of 200 values was at the other end after {took:.1f} s")
        wire.condition.loss, wire.condition.delay_s = 0.0, 0.0

        image = folder / "image"
        image.write_bytes(os.urandom(1 << 20) * (FILE_BYTES >> 20))
        sender = None
        if has_packets:
            sender = spawn(1, folder / "push", "quarn-ctl", "-u", f"{wire.address}:{hub_port}", "push", str(image))
            until(20, "a file under way", lambda: any(part.stat().st_size > 0 for part in inbox.iterdir()))
        wire.condition.is_cut = True
        cut = time.monotonic()
        for number in range(201, 211):
            check(ctl(0, hub_port, "set", KEY, str(number)).returncode == 0, "setting a variable while cut off")
        if sender:
            check(sender.wait(timeout=CUT_S) != 0, "a file arrived over a cable that was cut")
            print(f"The file's sender gave up {time.monotonic() - cut:.1f} s after the cut")
            until(5, "no part of the file left", lambda: not list(inbox.iterdir()))
        time.sleep(max(0.0, cut + CUT_S - time.monotonic()))
        check(value(1, leaf_port) == 200, "a value passed a cable that was cut")
        wire.condition.is_cut = False
        took = until(30, "the last value at the leaf", lambda: value(1, leaf_port) == 210)
        print(f"After {CUT_S} s without a cable, both were in step again {took:.1f} s after it was mended")
        if has_packets:
            image.write_bytes(image.read_bytes()[:16 << 20])
            check(ctl(1, hub_port, "push", str(image), address=wire.address).returncode == 0,
                  "sending a file over the mended cable")
            check((inbox / "image").read_bytes() == image.read_bytes(), "the file is not what was sent")

        seen = [int(line.split()[-1]) for line in watched.read_text().splitlines()]
        check(seen == sorted(set(seen)) and seen[-1] == 210, f"the leaf saw {seen}")
        print(f"The leaf saw {len(seen)} of 211 values, each once and in order")
        for process in (leaf, hub):
            process.send_signal(signal.SIGTERM)
            check(process.wait(timeout=20) == 0, "a unit did not end cleanly")
    finally:
        for process in processes:
            process.kill()
        wire.close()
