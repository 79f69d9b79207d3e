#!/usr/bin/env python3
"""Checks in doxygen's XML that every public class, structure and enumeration is described, and that the class that a
header is named after has an example. Prints each offence; the exit status says whether there was one.

usage: check_reference.py XML-FOLDER"""
import pathlib
import sys
import xml.etree.ElementTree as ElementTree

offences = []
described = 0
for path in sorted(pathlib.Path(sys.argv[1]).glob("*.xml")):
    root = ElementTree.parse(path).getroot()
    for definition in [*root.iter("compounddef"), *root.iter("memberdef")]:
        if definition.get("kind") not in ("class", "struct", "enum") or definition.get("prot") == "private":
            continue
        place = definition.find("location")
        name = (definition.findtext("compoundname") or definition.findtext("name")).split("::")[-1]
        described += 1
        if not "".join(definition.find("briefdescription").itertext()).strip():
            offences.append(f"{place.get('file')}:{place.get('line')}: {name} is not described")
        description = definition.find("detaileddescription")
        has_example = any(description.find(f".//{tag}") is not None for tag in ("verbatim", "programlisting"))
        if definition.tag == "compounddef" and name == pathlib.Path(place.get("file")).stem and not has_example:
            offences.append(f"{place.get('file')}:{place.get('line')}: {name} has no example")

print("\n".join(offences) or f"{described} classes, structures and enumerations are described")
sys.exit(1 if offences or not described else 0)
