#!/usr/bin/env python3
"""Checks in generated code that the memory helpers access memory as written: no call of a block routine, no wide
register, no string instruction. A control with a loop over plain memory has to be caught, so that a check that
has gone blind shows."""
import re
import subprocess
import sys

WIDE = re.compile(r"%[xyz]mm\d|\brep\b|\b(?:st|ld)p\b|\b[qv]\d+\b")
BLOCK = re.compile(r"\b\w*(?:memcpy|memset|memmove|memcmp|bzero|bcopy)\w*")


def offences(objdump, path):
    listing = subprocess.run([objdump, "-dr", "--no-show-raw-insn", path], check=True, capture_output=True,
                             text=True).stdout
    found = []
    for line in listing.splitlines():
        instruction = line.split("\t", 1)[1] if "\t" in line else ""
        # The helpers' own names, as the targets of jumps and calls, are no offence.
        if WIDE.search(instruction) or any("quarn_" not in name for name in BLOCK.findall(instruction)):
            found.append(line.strip())
    return found


objdump, helpers, control = sys.argv[1:]
if not offences(objdump, control):
    sys.exit(f"{control}: the block routine of the control was not found")
found = offences(objdump, helpers)
print("\n".join(found))
sys.exit(1 if found else 0)
