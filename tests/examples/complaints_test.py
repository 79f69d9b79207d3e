#!/usr/bin/env python3
"""What a user gets wrong, and what quarn-unit and quarn-ctl say to it: which object, and why.

usage: complaints_test.py QUARN-UNIT QUARN-CTL [EMULATOR...]"""
import os
import re
import socket
import subprocess
import sys
import tempfile

from programs import DEADLINE_S, Daemon, check, command

unit_program, ctl_program = (command(program, sys.argv[3:]) for program in sys.argv[1:3])


def expect(program, name, cases):
    for words, status, complaint in cases:
        done = subprocess.run(program + words.split(), stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=DEADLINE_S)
        check(f"{name} {words}", (done.returncode, done.stderr), (status, f"{name}: {complaint}\n"))


with tempfile.TemporaryDirectory() as folder, socket.create_server(("127.0.0.1", 0)) as taken:
    os.chdir(folder)
    os.mkdir("inbox")
    for name, text in {"file": "", "good.conf": "[i2c]\ni2c-7 0x10 radio\nnonsense\n[typo]\n"}.items():
        with open(name, "w") as file:
            file.write(text)
    help_hint = "(--help shows what there is)"
    used = f"127.0.0.1:{taken.getsockname()[1]}"
    with Daemon([*unit_program, *"--listen 0 --console 0 --config good.conf".split()]) as running:
        check("complaints of the configuration", re.findall("good.conf:.*", running.said), [
            "good.conf:2: I2C: Could not open I2C bus device /dev/i2c-7: No such file or directory",
            "good.conf:3: I2C: wrong number of fields",
            'good.conf:4: Configuration section "[typo]" not used'])
        expect(unit_program, "quarn-unit", [
            ("--nonsense", 2, f"The following argument was not expected: --nonsense {help_hint}"),
            (f"--listen {used}", 1, f"Cannot listen on {used}: Address already in use"),
            (f"--listen 0 --console {used}", 1, f"Cannot listen on {used}: Address already in use"),
            (f"--listen 0 --gpio-server {used}", 1, f"Cannot listen on {used}: Address already in use"),
            ("--listen 127.0.0.1:70000", 1, '--listen: The port of "127.0.0.1:70000" is not a number up to 65535'),
            ("--listen 0 --peer host", 1, '--peer: "host" is not of the form HOST:PORT'),
            ("--listen 0 --allow 10.0.0.0/33", 1, '--allow: "10.0.0.0/33" is not an address or a network'),
            ("--console-mask all", 1, '--console-mask: Could not convert "all" to uint32'),
            ("--log-directory file", 1, 'Cannot write log files to "file": Not a directory'),
            ("--listen 0 --receive-files none", 1, 'Cannot receive files into "none": No such file or directory'),
            ("--listen 0 --state none/s", 1, 'Cannot keep settings in "none/s": No such file or directory'),
            ("--listen 0 --state inbox", 1, 'Cannot keep settings in "inbox": Is a directory'),
            ("--listen 0 --state mtd:none", 1, 'Could not find MTD device "none"'),
            ("--listen 0 --state eeprom:file", 1, 'Cannot keep settings in "eeprom:file" without --state-block-size'),
            ("--listen 0 --board none", 1, 'There is no board "none": it is "system", "simulated" or "simulated:FILE"'),
            ("--listen 0 --board simulated:none", 1, "Could not open none for reading"),
            ("--listen 0 --config none", 1, "Could not open none for reading"),
        ])
        unit = running.where("listens")
        taken.close()
        expect(ctl_program, "quarn-ctl", [
            ("", 2, f"A subcommand is required {help_hint}"),
            ("nonsense", 2, f'There is no command "nonsense" {help_hint}'),
            ("get", 2, f"PATTERN is required {help_hint}"),
            (f"get * {used}", 1, f"Cannot connect to a unit at {used}: Connection refused"),
            (f"console {used} -c help", 1, f"Cannot connect to a console at {used}: Connection refused"),
            (f"get none {unit}", 1, 'No variable matches "none"'),
            (f"set none 1 {unit}", 1, "No variable registered in dictionary receiver for key none"),
            (f"set rf.channel 256 {unit}", 1, 'Value "256" is not in the range 0..255'),
            (f"push none {unit}", 1, "Cannot read none: No such file or directory"),
            (f"push inbox {unit}", 1, "Cannot read inbox: Is a directory"),
        ])
