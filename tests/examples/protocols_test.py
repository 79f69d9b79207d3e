#!/usr/bin/env python3
"""Speaks every format with a real unit, as the pages about formats document it and apart from the library.

usage: protocols_test.py SOURCE-FOLDER QUARN-UNIT [EMULATOR...]"""
import pathlib
import re
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

from documented_formats import (PAGES, PEER_PROGRAM, ROOT, SETTABLE, VALUES, bulk_transfer, byte_blocks, check,
                                clock_datagram, gpio_sentence, peer, storage_block, u32)

DEADLINE_S = 30
UNIT_COMMAND = sys.argv[3:] + [sys.argv[2]]

# What a unit and its clients say besides what the peer understands.
peer.SENTENCES |= {0x00510004: ("offer", ["STRING"]), 0x00510015: ("accepted", ["UINT32", "UINT16"]),
                   0x00510016: ("arrived", ["STRING", "BOOLEAN"])}
peer.TAGS |= {"offer": 0x00510004, "accepted": 0x00510015, "arrived": 0x00510016}


class RunningUnit:
    """A unit with every service, from the start of a with statement to its end."""

    def __init__(self, *options):
        services = ["--listen", "0", "--console", "0", "--clock-server", "0", "--gpio-server", "0",
                    "--config", ROOT / "examples/board.conf"]
        self.process = subprocess.Popen(UNIT_COMMAND + services + list(options), stdout=subprocess.PIPE, text=True)
        self.ports = {}
        for line in self.process.stdout:
            for name, port in re.findall(r"(listens|time|console|signals) on .*:(\d+)", line):
                self.ports[name] = int(port)
            if len(self.ports) == 4:
                return
        sys.exit(f"the unit has not started, and ended with status {self.process.wait()}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.process.communicate(timeout=DEADLINE_S)
        check("the unit's status", self.process.returncode, 0)

    def connect(self):
        return peer.Unit("127.0.0.1", self.ports["listens"], DEADLINE_S)

    def run_peer(self, *arguments):
        run = subprocess.run([sys.executable, PEER_PROGRAM, "-u", f"127.0.0.1:{self.ports['listens']}", *arguments],
                             capture_output=True, text=True, timeout=DEADLINE_S)
        return run.stdout + run.stderr, run.returncode


def check_peer(unit):
    check("the peer sets a variable", unit.run_peer("audio.gain*", "audio.gain-db", "6.5"),
          ("audio.gain-db 0.0\naudio.gain-db 6.5\nvalue ['audio.gain-db', 'FLOAT', '6.500000']\ndone [1]\n", 0))
    check("the peer is refused", unit.run_peer("dsp.*", "clock.utc-us", "-1"),
          ("refused ['clock.utc-us: Attempted to set unsettable variant reference']\n", 1))


def check_values(unit):
    """Sets a variable of every type to the documented bytes, which measured ones refuse, and compares what is told."""
    client = unit.connect()
    client.say("subscribe", ["*"])
    told = dict(client.receive() for _ in peer.VARIABLES)
    key_of = {kind: key for key, kind in peer.VARIABLES.values()}
    for kind, value, blob in VALUES:
        key = key_of.pop(kind)
        client.socket.sendall(peer.encode_message(peer.TAGS[key], blob))
        client.say("query", key)
        while (said := client.receive())[0] != "done":
            if said[0] == "value":
                check(f"{key} as text", said[1], [key, kind, shown(kind, told[key])])
            elif said[0] != "refused":
                told.update([said])
        check(f"{key} is told", told[key] == value, key in SETTABLE)
    check("types without an example", key_of, {})


def shown(kind, value):
    if isinstance(value, list):
        return " ".join(shown(peer.element_type(kind), element) for element in value)
    return f"{value:f}" if kind == "FLOAT" else str(int(value)) if kind == "BOOLEAN" else str(value)


def check_messages(unit):
    """That a unit takes every documented message for one; it has no variables of their tags."""
    client = unit.connect()
    for page in "messages.md", "bulk-transfer.md":
        for block in byte_blocks(page):
            client.socket.sendall(block)
            backlog = bytearray(block)
            while message := peer.take_message(backlog):
                check(f"{page}: {block.hex(' ')}", client.receive(),
                      ("refused", [f"0x{message[0]:08X}: there is no such variable"]))


def check_refusals(unit):
    client = unit.connect()
    refused = [(0x000B0001, b""), (peer.TAGS["rf.rssi-dbm"], bytes(4)), (peer.TAGS["rf.channel"], bytes(2)),
               (peer.TAGS["query"], b"")]
    for tag, payload in refused:
        client.socket.sendall(peer.encode_message(tag, payload))
    reasons = [client.receive()[1][0] for _ in refused]
    check("unit.md: reasons to refuse", re.findall(r"\(`(.*?: .*?)`\)", PAGES["unit.md"]), reasons)


def check_bulk_transfer(unit, inbox):
    client = unit.connect()
    client.say("offer", "greeting")
    name, (token, port) = client.receive()
    with socket.create_connection(("127.0.0.1", port), DEADLINE_S) as receiver:
        for message in bulk_transfer(token, b"hello", 3):
            if message[2:4] == b"\xBB\x03":
                check("the receiver's acknowledgement", receiver.makefile("rb").read(len(message)), message)
            else:
                receiver.sendall(message)
        check("the offer's end", client.receive(), ("arrived", ["greeting", True]))
    check("the file", (inbox / "greeting").read_bytes(), b"hello")


def check_clock(unit):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
        client.settimeout(DEADLINE_S)
        start = time.monotonic()
        times = []
        for sequence in 0x0102, 0xFFFF:
            client.sendto(clock_datagram(sequence, 0), ("127.0.0.1", unit.ports["time"]))
            reply = client.recv(100)
            times += struct.unpack_from("<I", reply, 4)
            check("the clock's reply", reply, clock_datagram(sequence, times[-1]))
        elapsed_us = (time.monotonic() - start) * 1e6
        if not 0 < (times[1] - times[0]) % 2**32 <= elapsed_us:
            sys.exit(f"the clock has moved from {times[0]} to {times[1]} us in {elapsed_us} us")


def check_gpio(unit):
    """Exchanges requests with the GPIO server; "attenuator" and "led" stand in examples/board.conf."""
    exchanges = [
        (gpio_sentence(0x0101, 0x1234, b"attenuator"), gpio_sentence(0x0301, 0x1234, u32(5))),
        (gpio_sentence(0x0102, 0xFFFF, b"attenuator", u32(3)), gpio_sentence(0x0301, 0xFFFF, u32(3))),
        (gpio_sentence(0x0103, 7, peer.join_blobs(b"", [b"lines", b"led 0"])),
         gpio_sentence(0x0302, 7, peer.join_blobs(b"", [b"led set to 0"]))),
        (gpio_sentence(0x0101, 0, b"mote"), gpio_sentence(0x0201, 0, b"GPIO: unknown signal mote"))]
    with socket.create_connection(("127.0.0.1", unit.ports["signals"]), DEADLINE_S) as client:
        for request, reply in exchanges:
            client.sendall(request)
            check("the GPIO server's reply", client.makefile("rb").read(len(reply)), reply)


def check_console(unit):
    with socket.create_connection(("127.0.0.1", unit.ports["console"]), DEADLINE_S) as client:
        client.sendall(b"var show audio.mute\n\n# a remark\nfrobnicate\n")
        client.shutdown(socket.SHUT_WR)
        check("the console", client.makefile("rb").read(),
              b"audio.mute = 1\n\x04\n" + 2 * b"\x04\n" + b"unrecognized command (\"help\" for help)\n\x04\n")


def check_services(folder):
    """What a unit says to a watchdog service and to a clock, and what it loads and saves."""
    state = folder / "state"
    state.write_bytes(storage_block(7, 41, peer.encode_message(0x00020001, b"\x09")))
    with (socket.create_server(("127.0.0.1", 0)) as service,
          socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as clock):
        service.settimeout(DEADLINE_S)
        clock.settimeout(DEADLINE_S)
        clock.bind(("127.0.0.1", 0))
        watchdog, server = (f"127.0.0.1:{socket.getsockname()[1]}" for socket in (service, clock))
        with RunningUnit("--name", "unit 1", "--state", str(state), "--state-version", "7", "--watchdog", watchdog,
                         "--clock-client", server) as unit:
            reports = service.accept()[0].makefile()
            for _ in range(2):
                check("the report to the watchdog", reports.readline(), f"update unit 1 {unit.process.pid}\n")
            for sequence in 1, 2:
                check("the request for the time", clock.recv(100), clock_datagram(sequence, 0))
            check("what was loaded", unit.run_peer("rf.channel", "rf.channel", "10"),
                  ("rf.channel 9\nrf.channel 10\nvalue ['rf.channel', 'UINT8', '10']\ndone [1]\n", 0))
    saved = state.read_bytes()
    stamp, length = struct.unpack_from("<QI", saved, 8)
    if stamp <= 41:
        sys.exit(f"the stamp of what was saved is {stamp}")
    check("the saved block", saved, storage_block(7, stamp, saved[24:24 + length]))
    backlog = bytearray(saved[24:24 + length])
    settings = dict(iter(lambda: peer.take_message(backlog), None))
    check("the saved channel", settings[0x00020001], b"\x0A")
    check("the saved variables", {peer.VARIABLES[tag][0] for tag in settings}, SETTABLE)


with tempfile.TemporaryDirectory() as scratch:
    folder = pathlib.Path(scratch)
    with RunningUnit("--receive-files", scratch) as unit:
        check_peer(unit)
        check_messages(unit)
        check_refusals(unit)
        check_values(unit)
        check_console(unit)
        check_gpio(unit)
        check_bulk_transfer(unit, folder)
        check_clock(unit)
    check_services(folder)
