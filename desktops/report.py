#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Writes the tables of docs/desktops.md from the last walks: report.py RELEASE RESULTS DOCUMENT

A row of a desktop that was not walked this time stays as it is. The table stands between two marks, so that nobody
claims more by hand.
"""

import json
import re
import subprocess
import sys
from pathlib import Path

from keyrings import KEYRINGS
from limits import reason
from shells import DESKTOPS
from walk import KINDS

BEGIN, END = "<!-- scripts/desktops begins -->\n", "<!-- scripts/desktops ends -->\n"
HEAD = ("| Debian | Desktop | Display | Not installed, light | Installed, dark | Scale 2 | Not passed | Tried |\n"
        "| --- | --- | --- | --- | --- | --- | --- | --- |\n")


def version(package):
    text = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], stdout=subprocess.PIPE, text=True,
                          check=False).stdout
    return re.match(r"(?:\d+:)?(\d+(?:\.\d+)?)?", text)[1] or ""


def row(release, name, results):
    """The table's row of a desktop or a keyring, or None where no walk was made."""
    if name in DESKTOPS:
        title, package, display = DESKTOPS[name].title, DESKTOPS[name].package, DESKTOPS[name].display
    else:
        title, package, display = *KEYRINGS[name], "X11"
    cells, missed, stamps = [], {}, {}
    for kind in KINDS:
        file, stamp = (results / name / kind / part for part in ("outcomes.json", "stamp"))
        outcomes = json.loads(file.read_text()) if file.exists() else {}
        passed = sum(not failure for failure in outcomes.values())
        cells.append(f"{passed} of {len(outcomes)}" if outcomes else "")
        if outcomes:
            stamps[stamp.read_text()] = None
        for step in (step for step, failure in outcomes.items() if failure):
            missed.setdefault(reason(name, kind, step), {})[step] = None
    if not any(cells):
        return None
    told = "; ".join(", ".join(steps) + f": {why}" if why else f"**{', '.join(steps)}**" for why, steps in missed.items())
    return f"| {release} | {title} {version(package)} | {display} | {' | '.join(cells)} | {told} | {', '.join(stamps)} |\n"


def key(line):
    """Debian's release, the desktop without its version and the display."""
    return tuple(re.sub(r" [\d.]+$", "", cell) for cell in line.split(" | ")[:3])


def main():
    release, results, document = sys.argv[1], Path(sys.argv[2]), Path(sys.argv[3])
    text = document.read_text()
    before, rest = text.split(BEGIN)
    table, after = rest.split(END)
    rows = {key(line): line + "\n" for line in table.splitlines()[2:] if line.startswith("| ")}
    for name in (*DESKTOPS, *KEYRINGS):
        line = row(release, name, results)
        if line:
            rows[key(line)] = line
    rows = dict(sorted(rows.items()))
    document.write_text(before + BEGIN + HEAD + "".join(rows.values()) + END + after)


if __name__ == "__main__":
    main()
