"""What the tests of the programs share."""
import os
import re
import shutil
import subprocess
import sys

DEADLINE_S = 30


def check(what, actual, expected):
    if actual != expected:
        sys.exit(f"{what}: is {actual!r}, should be {expected!r}")


def command(program, emulator):
    """The words that run the program from any folder."""
    return [*map(shutil.which, emulator[:1]), *emulator[1:], os.path.abspath(program)]


class Daemon:
    """A daemon that runs until the end of a with statement, once it has printed a line with the text."""

    def __init__(self, words, text=" is ready"):
        self.process = subprocess.Popen(words, stdout=subprocess.PIPE, text=True)
        self.said = ""
        while text not in self.said:
            line = self.process.stdout.readline()
            if not line:
                sys.exit(f"{words} has not started: {self.said}")
            self.said += line

    def where(self, what):
        """HOST:PORT of where it says that it does that."""
        return re.search(rf"{what} on (\S+)", self.said)[1]

    def port(self, what):
        return int(self.where(what).rpartition(":")[2])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.communicate(timeout=DEADLINE_S)
        check("the status of a daemon", self.process.returncode, 0)
