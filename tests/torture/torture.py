#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Does to the program what may befall it and prints a table of what was tried, how often and what was lost.

torture.py [--short] [GROUP...]: the groups are those of GROUPS, all by default. Ends with 1 if anything was lost.
"""

import importlib
import sys
import time
import traceback

from harness import Row

GROUPS = ["crash", "session", "storage", "limits", "children", "flood", "soak"]


def tried(row):
    """Runs one row; one that cannot be finished is a loss of its own."""
    try:
        return row()
    except Exception:
        traceback.print_exc()
        failed = Row(row.func.__name__.replace("_", " "))
        failed.check(False, f"not finished: {sys.exc_info()[1]}")
        return failed


def show(rows):
    what = max(len(row.what) for row in rows) + 2
    times = max(len(row.times) for row in rows) + 2
    print(f"\n{'what was tried':<{what}}{'how often':<{times}}what was lost")
    for row in rows:
        print(f"{row.what:<{what}}{row.times:<{times}}{row.lost[0] if row.lost else 'nothing'}")
        for text in row.figures + row.lost[1:10]:
            print(f"    {text}")


def main():
    arguments = sys.argv[1:]
    short = "--short" in arguments
    groups = [argument for argument in arguments if argument != "--short"] or GROUPS
    done = []
    for group in groups:
        for row in importlib.import_module(f"torture_{group}").rows(short):
            begin = time.monotonic()
            done.append(tried(row))
            print(f"{time.monotonic() - begin:6.1f} s  {group}: {done[-1].what}: {'; '.join(done[-1].lost) or 'nothing lost'}",
                  file=sys.stderr, flush=True)
    show(done)
    return 1 if any(row.lost for row in done) else 0


sys.exit(main())
