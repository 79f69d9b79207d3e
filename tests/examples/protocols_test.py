#!/usr/bin/env python3
"""Speaks every format with a real unit, as the pages about formats document it and apart from the library.

usage: protocols_test.py SOURCE-FOLDER QUARN-UNIT [EMULATOR...]"""
import pathlib
import re
import socket
import struct
import subprocess
import sys
import tempfile

from documented_formats import (PAGES, PEER_PROGRAM, ROOT, SETTABLE, VALUES, bulk_transfer, byte_blocks, check,
                                clock_datagram, gpio_sentence, peer, storage_block, u32)
from programs import DEADLINE_S, Daemon, command

# What a unit and its clients say besides what the peer understands.
peer.SENTENCES |= {0x00510004: ("offer", ["STRING"]), 0x00510015: ("accepted", ["UINT32", "UINT16"]),
                   0x00510016: ("arrived", ["STRING", "BOOLEAN"])}
peer.TAGS |= {"offer": 0x00510004, "accepted": 0x00510015, "arrived": 0x00510016}


def run_unit(*options):
    return Daemon([*command(sys.argv[2], sys.argv[3:]), "--listen", "0", *options])


def connect(unit):
    return peer.Unit("127.0.0.1", unit.port("listens"), DEADLINE_S)


def check_peer(unit, *arguments, said):
    run = subprocess.run([sys.executable, PEER_PROGRAM, "-u", unit.where("listens"), *arguments],
                         capture_output=True, text=True, timeout=DEADLINE_S)
    check(f"the peer with {arguments}", (run.stdout + run.stderr, run.returncode), (said, "refused" in said))


def check_values(unit):
    """Sets a variable of every type to the documented bytes, which measured ones refuse, and compares what is told."""
    client = connect(unit)
    client.say("subscribe", ["*"])
    told = dict(client.receive() for _ in peer.VARIABLES)
    key_of = {kind: key for key, kind in peer.VARIABLES.values()}
    for kind, value, blob in VALUES:
        key = key_of.pop(kind)
        client.socket.sendall(peer.encode_message(peer.TAGS[key], blob))
        client.say("query", key)
        while (said := client.receive())[0] != "done":
            told.update([said] if said[0] == key else [])
        check(f"{key} is told", told[key] == value, key in SETTABLE)
    check("types without an example", key_of, {})


def check_refusals(unit):
    client = connect(unit)
    # Every documented message is taken for one; it has no variables of their tags.
    for page in "messages.md", "bulk-transfer.md":
        for block in byte_blocks(page):
            client.socket.sendall(block)
            backlog = bytearray(block)
            while message := peer.take_message(backlog):
                check(f"{page}: {block.hex(' ')}", client.receive(),
                      ("refused", [f"0x{message[0]:08X}: there is no such variable"]))
    refused = [(0x000B0001, b""), (peer.TAGS["rf.rssi-dbm"], bytes(4)), (peer.TAGS["rf.channel"], bytes(2)),
               (peer.TAGS["query"], b"")]
    for tag, payload in refused:
        client.socket.sendall(peer.encode_message(tag, payload))
    reasons = [client.receive()[1][0] for _ in refused]
    check("unit.md: reasons to refuse", re.findall(r"\(`(.*?: .*?)`\)", PAGES["unit.md"]), reasons)


def check_bulk_transfer(unit, inbox):
    client = connect(unit)
    client.say("offer", "greeting")
    _, (token, port) = client.receive()
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
        client.sendto(clock_datagram(0xFF02, 0), ("127.0.0.1", unit.port("tells the time")))
        reply = client.recv(100)
        check("the clock's reply", reply, clock_datagram(0xFF02, *struct.unpack_from("<I", reply, 4)))


def check_gpio(unit):
    """Exchanges requests with the GPIO server; "attenuator" and "led" stand in examples/board.conf."""
    exchanges = [
        (gpio_sentence(0x0102, 0xFFFE, b"attenuator", u32(3)), gpio_sentence(0x0301, 0xFFFE, u32(3))),
        (gpio_sentence(0x0101, 0x1234, b"attenuator"), gpio_sentence(0x0301, 0x1234, u32(3))),
        (gpio_sentence(0x0103, 7, peer.join_blobs(b"", [b"lines", b"led 0"])),
         gpio_sentence(0x0302, 7, peer.join_blobs(b"", [b"led set to 0"]))),
        (gpio_sentence(0x0101, 0, b"mote"), gpio_sentence(0x0201, 0, b"GPIO: unknown signal mote"))]
    with socket.create_connection(("127.0.0.1", unit.port("signals")), DEADLINE_S) as client:
        for request, reply in exchanges:
            client.sendall(request)
            check("the GPIO server's reply", client.makefile("rb").read(len(reply)), reply)


def check_services(folder):
    """What a unit asks of a clock, and what it loads and saves."""
    state = folder / "state"
    state.write_bytes(storage_block(7, 41, peer.encode_message(0x00020001, b"\x09")))
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as clock:
        clock.settimeout(DEADLINE_S)
        clock.bind(("127.0.0.1", 0))
        with run_unit("--state", state, "--state-version", "7", "--state-interval", "60000", "--clock-client",
                      f"127.0.0.1:{clock.getsockname()[1]}") as unit:
            for sequence in 1, 2:
                check("the request for the time", clock.recv(100), clock_datagram(sequence, 0))
            for number in 10, 11:  # the second is saved at the end
                check_peer(unit, "rf.channel", "rf.channel", str(number),
                           said=f"rf.channel {number - 1}\nrf.channel {number}\n"
                                f"value ['rf.channel', 'UINT8', '{number}']\ndone [1]\n")
    saved = state.read_bytes()
    stamp, length = struct.unpack_from("<QI", saved, 8)
    check("the stamp, which counts saves", stamp, 43)
    check("the saved block", saved, storage_block(7, stamp, saved[24:24 + length]))
    backlog = bytearray(saved[24:24 + length])
    settings = dict(iter(lambda: peer.take_message(backlog), None))
    check("the saved channel", settings[0x00020001], b"\x0B")
    check("the saved variables", {peer.VARIABLES[tag][0] for tag in settings}, SETTABLE)


with tempfile.TemporaryDirectory() as scratch:
    with run_unit("--clock-server", "0", "--gpio-server", "0", "--config", ROOT / "examples/board.conf",
                  "--receive-files", scratch) as unit:
        check_peer(unit, "dsp.*", "clock.utc-us", "-1",
                   said="refused ['clock.utc-us: Attempted to set unsettable variant reference']\n")
        check_refusals(unit)
        check_values(unit)
        check_gpio(unit)
        check_bulk_transfer(unit, pathlib.Path(scratch))
        check_clock(unit)
    check_services(pathlib.Path(scratch))
