#!/usr/bin/env python3
"""Checks that no file includes from a room below its own, that the simulated board uses public headers only and nothing
uses it, that what the public headers offer is marked for shared libraries, and that quarn.h and the minimal daemon in README.md are
what the tree holds. Prints each offence; the exit status says whether there was one."""
import pathlib
import re
import sys

ROOMS = ["foundation", "values", "messages", "workers", "connections", "storage", "devices", "services"]
# Public headers without a source file of their own.
HEADER_ONLY = {"Attributes": "foundation", "Parse": "values", "VariantType": "values", "Variable": "messages",
               "TCPConnectionReceiver": "connections", "BulkTransferStatus": "services",
               "SLIPConstants": "messages", "MicrosecondClock": "devices", "SettableMicrosecondClock": "devices"}

UNMARKED_FUNCTION = r"(?!QUARN_API |inline |constexpr |friend )[a-zA-Z][\w:<>*& ]* [*&]?\w+\(.*[,;]$"

root = pathlib.Path(sys.argv[1])
offences = []

room_of = dict(HEADER_ONLY)
for room in ROOMS:
    for source in (root / "src" / room).glob("*.cpp"):
        room_of[source.stem] = room


def check_includes(path, room):
    for number, line in enumerate(path.read_text().splitlines(), 1):
        public = re.match(r"\s*#\s*include <quarn/(\w+)\.h>", line)
        private = re.match(r'\s*#\s*include "(\w+)/', line)
        if re.match(r"\s*#\s*include <quarn/sim/", line):
            offences.append(f"{path}:{number}: {room} includes from the simulated board")
        if public and public[1] not in room_of:
            offences.append(f"{path}:{number}: {public[1]}.h belongs to no room")
            continue
        used = room_of[public[1]] if public else private[1] if private else None
        if used in ROOMS and ROOMS.index(used) > ROOMS.index(room):
            offences.append(f"{path}:{number}: {room} includes from {used}")


headers = sorted((root / "include/quarn").glob("*.h"))
for header in headers:
    if header.stem == "quarn":
        continue
    if header.stem not in room_of:
        offences.append(f"{header}: no source file, so no room")
    else:
        check_includes(header, room_of[header.stem])
for room in ROOMS:
    for path in sorted((root / "src" / room).glob("*.*")):
        check_includes(path, room)

for path in sorted((root / "sim").glob("**/*.*")):
    for number, line in enumerate(path.read_text().splitlines(), 1):
        used = re.match(r'\s*#\s*include "([^"]*)"', line)
        if used and not (path.parent / used[1]).is_file():
            offences.append(f"{path}:{number}: the simulated board includes {used[1]}, which is not its own")

# Unmarked, they would be missing from shared libraries.
for path in headers + sorted((root / "sim/include").glob("**/*.h")):
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if re.match(r"(class|struct) (?!QUARN_API )[^;]*$", line) or re.match(UNMARKED_FUNCTION, line):
            offences.append(f"{path}:{number}: lacks QUARN_API")

included = re.findall(r"#include <quarn/(\w+)\.h>", (root / "include/quarn/quarn.h").read_text())
expected = [header.stem for header in headers if header.stem != "quarn"]
if included != expected:
    offences.append(f"quarn.h does not include exactly the public headers in order: {set(included) ^ set(expected)}")

minimal = (root / "examples/minimal/main.cpp").read_text()
if f"```cpp\n{minimal}```" not in (root / "README.md").read_text():
    offences.append("README.md does not show examples/minimal/main.cpp as it is")

print("\n".join(offences) or f"{len(headers)} public headers in their rooms")
sys.exit(1 if offences else 0)
