#!/usr/bin/env python3
"""Checks that every relative link of the documentation leads to a file and a heading, that every page is linked from
another one, and that README.md names every script. Prints each offence; the exit status says whether there was one."""
import os
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1]).resolve()
offences = []
pages = [*root.glob("*.md"), *root.glob("docs/*.md")]


def without_code(page):
    """The lines of the page that are neither indented nor between fences."""
    return re.sub(r"^```.*?^```|^    .*?$", "", page.read_text(), flags=re.MULTILINE | re.DOTALL)


def anchors(page):
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-")
            for heading in re.findall(r"^#+ (.*)", without_code(page), re.MULTILINE)}


linked = {root / "README.md", root / "docs/README.md"}
for page in pages:
    for link in re.findall(r"\]\(([^)\s]+)\)", without_code(page)):
        path, _, anchor = link.partition("#")
        target = pathlib.Path(os.path.normpath(page.parent / path)) if path else page
        if not target.exists() or anchor and anchor not in anchors(target):
            offences.append(f"{page}: {link} leads nowhere")
        if target != page:
            linked.add(target)
offences += [f"{page}: no page links to it" for page in pages if page not in linked]

readme = (root / "README.md").read_text()
offences += [f"README.md does not name scripts/{script.name}" for script in sorted((root / "scripts").iterdir())
             if os.access(script, os.X_OK) and f"`{script.name}`" not in readme]

print("\n".join(offences) or f"{len(pages)} pages lead to files and headings that exist")
sys.exit(1 if offences else 0)
