#!/usr/bin/env python3
"""Types at the prompt of quarn-ctl console, on a pseudo terminal, and looks at what it shows.

usage: prompt_test.py QUARN-UNIT QUARN-CTL [EMULATOR...]"""
import os
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

DEADLINE_S = 20


class Terminal:
    def __init__(self, arguments, home):
        self.shown = ""
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            os.execve(arguments[0], arguments, {"TERM": "xterm", "HOME": home})

    def type(self, text):
        self.shown = ""
        os.write(self.fd, text.encode())

    def expect(self, text):
        deadline = time.monotonic() + DEADLINE_S
        while text not in self.shown:
            if not select.select([self.fd], [], [], max(0, deadline - time.monotonic()))[0]:
                sys.exit(f"expected {text!r}, was shown {self.shown!r}")
            self.shown += os.read(self.fd, 4096).decode()

    def end(self):
        self.type("quit\n")
        status = os.waitpid(self.pid, 0)[1]
        os.close(self.fd)
        if status != 0:
            sys.exit(f"the prompt ended with status {status}")


emulator = sys.argv[3:]
if emulator:
    emulator[0] = shutil.which(emulator[0])
unit_program, ctl_program = (emulator + [program] for program in sys.argv[1:3])
with tempfile.TemporaryDirectory() as home:
    unit = subprocess.Popen(unit_program + ["--listen", "0", "--console", "0"], stdout=subprocess.PIPE, text=True)
    try:
        console = None
        while not console:
            line = unit.stdout.readline()
            if not line:
                sys.exit("the unit has no console")
            console = re.search(r"has its console on (\S+)", line)
        arguments = ctl_program + ["console", console[1]]

        terminal = Terminal(arguments, home)
        terminal.expect("> ")
        terminal.type("va\t")
        terminal.expect("r ")
        terminal.type("sh\t")
        terminal.expect("ow ")
        terminal.type("audio.mute\n")
        terminal.expect("audio.mute = 0")
        terminal.expect("> ")
        terminal.end()

        terminal = Terminal(arguments, home)  # has the lines of the one before
        terminal.expect("> ")
        terminal.type("\x1b[A")  # up
        terminal.expect("var show audio.mute")
        terminal.type("\n")
        terminal.expect("audio.mute = 0")
        terminal.expect("> ")
        terminal.end()
    finally:
        unit.send_signal(signal.SIGTERM)
        unit.wait()
