#!/usr/bin/env python3
"""Checks that no file includes from a room below its own, that the simulated board uses public headers only and nothing
uses it, that what the public headers offer is marked for shared libraries, that quarn.h and the minimal daemon in README.md are
what the tree holds, and that tests do not grow past a third of the code. Prints each offence; the exit status says whether there was one."""
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

room_of = HEADER_ONLY | {source.stem: room for room in ROOMS for source in (root / "src" / room).glob("*.cpp")}


def includes(path, pattern):
    """Where the path includes what the pattern matches, and its first group."""
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if found := re.match(rf"\s*#\s*include {pattern}", line):
            yield f"{path}:{number}", found[1]


def check_includes(path, room):
    used = [(place, room_of.get(header, "no room")) for place, header in includes(path, r"<quarn/(\w+)\.h>")]
    used += includes(path, r'"(\w+)/')
    for place, other in used:
        if other not in ROOMS or ROOMS.index(other) > ROOMS.index(room):
            offences.append(f"{place}: {room} includes from {other}")
    offences.extend(f"{place}: {room} includes from the simulated board" for place, _ in includes(path, "(<quarn/sim/)"))


headers = sorted(set((root / "include/quarn").glob("*.h")) - {root / "include/quarn/quarn.h"})
for header in headers:
    if header.stem in room_of:
        check_includes(header, room_of[header.stem])
    else:
        offences.append(f"{header}: no source file, so no room")
for room in ROOMS:
    for path in sorted((root / "src" / room).glob("*.*")):
        check_includes(path, room)
for path in sorted((root / "sim").glob("**/*.*")):
    offences += [f"{place}: the simulated board includes {used}, which is not its own"
                 for place, used in includes(path, '"([^"]*)"') if not (path.parent / used).is_file()]

# Unmarked, they would be missing from shared libraries.
for path in headers + sorted((root / "sim/include").glob("**/*.h")):
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if re.match(r"(class|struct) (?!QUARN_API )[^;]*$", line) or re.match(UNMARKED_FUNCTION, line):
            offences.append(f"{path}:{number}: lacks QUARN_API")

included = [used for _, used in includes(root / "include/quarn/quarn.h", r"<quarn/(\w+)\.h>")]
if included != [header.stem for header in headers]:
    offences.append("quarn.h does not include exactly the public headers in order")

minimal = (root / "examples/minimal/main.cpp").read_text()
if f"```cpp\n{minimal}```" not in (root / "README.md").read_text():
    offences.append("README.md does not show examples/minimal/main.cpp as it is")


def count_lines(suffix, *folders):
    """The lines that are not blank, of files whose names end so."""
    files = [path for folder in folders for path in (root / folder).rglob("*") if re.search(suffix, path.name)]
    return sum(bool(line.strip()) for path in files for line in path.read_text().splitlines())


CPP = r"\.(c|cpp|h)(\.in)?$"
tests, code = count_lines(CPP, "tests"), count_lines(CPP, "src", "include", "sim", "examples")
transcripts = count_lines(r"(?<!CMakeLists)\.txt$", "tests")
if tests > code / 3:
    offences.append(f"{tests} lines of tests for {code} of code, more than a third: merge those that check the same")

print("\n".join(offences) or f"{len(headers)} public headers in their rooms, {tests} lines of tests for {code} of code, {transcripts} of transcripts")
sys.exit(1 if offences else 0)
