#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Does to the program what may befall it and prints a table of what was tried, how often and what was lost.

torture.py [--short] [GROUP...]: the groups are crash and session, both by default. Ends with 1 if anything was lost.
"""

import sys
import time
import traceback
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "desktop"))
import torture_crash  # noqa: E402
import torture_session  # noqa: E402

GROUPS = {"crash": torture_crash.ROWS, "session": torture_session.ROWS}


class Row:
    """One thing that was tried, how often, and what was lost by it."""

    def __init__(self, what):
        self.what = what
        self.times = ""
        self.lost = []

    def check(self, holds, loss):
        """Notes a loss unless `holds`; returns whether it does."""
        if not holds:
            self.lost.append(loss)
        return bool(holds)


def tried(what, action, times):
    """Runs one row; one that cannot be finished is a loss of its own."""
    row = Row(what)
    begin = time.monotonic()
    try:
        action(row, times)
    except Exception as error:
        traceback.print_exc()
        row.check(False, f"not finished: {error}")
    print(f"{time.monotonic() - begin:6.1f} s  {what}", file=sys.stderr, flush=True)
    return row


def show(rows):
    what = max(len(row.what) for row in rows) + 2
    times = max(len(text) for text in ["how often", *(row.times for row in rows)]) + 2
    print(f"\n{'what was tried':<{what}}{'how often':<{times}}what was lost")
    for row in rows:
        first, *others = row.lost or ["nothing"]
        print(f"{row.what:<{what}}{row.times:<{times}}{first}")
        for text in others[:10]:
            print(f"    {text}")


def main():
    arguments = sys.argv[1:]
    is_short = "--short" in arguments
    groups = [argument for argument in arguments if argument != "--short"] or GROUPS
    rows = [tried(what, action, short if is_short else long)
            for group in groups for what, action, short, long in GROUPS[group]]
    show(rows)
    return 1 if any(row.lost for row in rows) else 0


sys.exit(main())
