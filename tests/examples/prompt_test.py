#!/usr/bin/env python3
"""Types at the prompt of quarn-ctl console, on a pseudo terminal, and looks at what it shows.

usage: prompt_test.py QUARN-UNIT QUARN-CTL [EMULATOR...]"""
import os
import pty
import select
import sys
import tempfile

from programs import DEADLINE_S, Daemon, check, command


def converse(words, home, exchanges):
    """Types each text at a new prompt and waits for what is to be shown then; then types "quit"."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.execve(words[0], words, {"TERM": "xterm", "HOME": home})
    for typed, expected in [("", "> "), *exchanges]:
        os.write(terminal, typed.encode())
        shown = ""
        while expected not in shown:
            if not select.select([terminal], [], [], DEADLINE_S)[0]:
                sys.exit(f"expected {expected!r} after {typed!r}, was shown {shown!r}")
            shown += os.read(terminal, 4096).decode()
    os.write(terminal, b"quit\n")
    check("the prompt's status", os.waitpid(pid, 0)[1], 0)
    os.close(terminal)


unit_program, ctl_program = (command(program, sys.argv[3:]) for program in sys.argv[1:3])
with (tempfile.TemporaryDirectory() as home,
      Daemon([*unit_program, "--listen", "0", "--console", "0"]) as unit):
    console = [*ctl_program, "console", unit.where("console")]
    converse(console, home, [("va\t", "r "), ("sh\t", "ow "), ("audio.mute\n", "audio.mute = 0\r\n")])
    up = "\x1b[A"  # to the lines of the conversation before
    converse(console, home, [(up, "var show audio.mute"), ("\n", "audio.mute = 0\r\n")])
