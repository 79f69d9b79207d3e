#!/usr/bin/env python3
"""A public header as doxygen has to see it, every line in its place: the comment that opens it belongs to its class, or
to the file where there is none of its name, and a comment over several functions of one name to all of them."""
import pathlib
import re
import sys


def give_comment_to_class(lines, stem):
    text = "\n".join(lines)
    namespace = re.search(r"^namespace ([\w:]+) {", text, re.MULTILINE)
    kind = re.search(rf"^(class|struct|enum)(?: QUARN_API)? {stem}\b[^;]*{{", text, re.MULTILINE)
    at = lines.index("#pragma once") + 1
    if lines[at + 1].startswith("///"):
        lines[at] = f"/// @{kind[1]} {namespace[1]}::{stem}" if kind else "/// @file"


def function_name(line):
    head, parenthesis, rest = line.partition("(")
    is_declaration = parenthesis and rest.endswith((";", "}")) and "///" not in head and "= delete" not in rest
    return is_declaration and ("operator" if "operator" in head else head.split()[-1])


def share_comments(lines):
    for first in range(1, len(lines) - 1):
        name = function_name(lines[first])
        last = first
        while name and function_name(lines[last + 1]) == name:
            last += 1
        above = first - 1
        while lines[above].lstrip().startswith("///"):
            above -= 1
        if last > first and above < first - 1:
            lines[above] += "  /**@{*/"
            lines[last] += "  /**@}*/"


path = pathlib.Path(sys.argv[1])
header = path.read_text().splitlines()
give_comment_to_class(header, path.stem)
share_comments(header)
print("\n".join(header))
