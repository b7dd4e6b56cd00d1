#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Does to the program what may befall it and prints a table of what was tried, how often and what was lost.

torture.py [--short]. Ends with 1 if anything was lost.
"""

import contextlib
import os
import random
import shutil
import signal
import sys
import time
import traceback
from functools import partial
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent / "demo"))
from desktop_reader import NAME, Bus  # noqa: E402
from session import Program, Session, processes, tunnel, wait_for  # noqa: E402

PROGRAM = Path(os.environ["MORVANEL_PROGRAM"])
CHATTY = "opening\nregistered 0\nmark\npause 100\nprint INF Still here\nloop"
SILENT = "wait"
TUNNELS = 3
ORPHAN_SECONDS = 4
SECRETS = "org.freedesktop.secrets"


class Row:
    """One thing that was tried, how often, and what was lost by it."""

    def __init__(self, what):
        self.what = what
        self.times = ""
        self.lost = []

    def check(self, holds, loss):
        """Notes a loss unless `holds`."""
        if not holds:
            self.lost.append(loss)


def configure(session, **others):
    """Gives the session's user tunnels that start by themselves, and its own copy of the stand-in."""
    cloudflared = session.home / "cloudflared"
    shutil.copy(os.environ["MORVANEL_CLOUDFLARED"], cloudflared)
    tunnels = [tunnel(f"t{number}", start=True) for number in range(TUNNELS)]
    session.configure(tunnels, cloudflared, lambda _: "eyJtoken", **others)
    return cloudflared


def start(session, script=CHATTY):
    return Program(session, PROGRAM, {"MORVANEL_SCRIPT": script})


def running(program):
    """The ids of the processes that run this file, zombies left out."""
    return {pid for pid, path in processes().items() if path == str(program)}


def ledger(session):
    """The children that the program has written down."""
    return set(session.read_preferences().get("childPIDs", []))


def all_say(bus, text):
    """Whether the menu says this of every tunnel."""
    return sum(text in label for label in bus.labels()) == TUNNELS


def stop_all(bus):
    bus.action("stop-all")
    wait_for(lambda: all_say(bus, "Stopped"), "all tunnels are stopped")


def kill_at_random_moments(row, times, script):
    chance = random.Random(script)
    operations = 0
    with Session() as session:
        cloudflared, bus, orphans = configure(session), Bus(session), set()
        before = session.read_preferences()
        for number in range(times):
            program = start(session, script)
            wait_for(lambda: bus.owner_process(NAME) == program.pid, "the program is on the bus")
            end = time.monotonic() + chance.uniform(0, 1.5)
            while (left := end - time.monotonic()) > 0:
                bus.action(chance.choice(["start-all", "start-all", "stop-all"]))
                time.sleep(min(left, chance.uniform(0, 0.1)))
                operations += 1
            children = set(program.children())
            program.process.kill()
            program.process.wait()
            session.started.remove(program.process)
            stored = session.read_preferences()  # fails when half of it was written
            row.check(all(stored[key] == before[key] for key in before), f"run {number}: a setting is lost")
            unknown = (children & running(cloudflared)) - ledger(session)
            row.check(not unknown, f"run {number}: {len(unknown)} children are unknown to the next run")
            orphans |= children
        program = start(session, script)
        program.wait_for_children(TUNNELS)
        with contextlib.suppress(AssertionError):
            wait_for(lambda: not orphans & running(cloudflared), "the orphans have ended", ORPHAN_SECONDS)
        row.check(not orphans & running(cloudflared), "children stayed without an owner")
        row.check(program.quit()[0] == 0, "the program did not end well")
        row.check(not running(cloudflared), "children outlived the program")
    row.times = f"{times} kills, {operations} operations"


def freeze_keyring(session):
    os.kill(Bus(session).owner_process(SECRETS), signal.SIGSTOP)


def end_keyring(session, bus):
    while owner := bus.owner_process(SECRETS):  # the bus may have started another, locked one
        os.kill(owner, signal.SIGKILL)
        wait_for(lambda: bus.owner_process(SECRETS) != owner, "the keyring is gone")


def keyring_slow(row, times):
    """A question that nobody answers, on the screen, and a keyring that is frozen: all the rest goes on."""
    slowest = 0.0
    with Session(display="1280x900") as session:
        configure(session, showsInDock=False)
        program, bus = start(session), Bus(session)
        program.wait_for_children(TUNNELS)
        for number in range(2 * times):
            stop_all(bus)
            (Session.lock_keyring, freeze_keyring)[number % 2](session)
            bus.action("start-all")
            wait_for(lambda: all_say(bus, "Connecting"), "the tunnels wait")
            begin = time.monotonic()
            while (now := time.monotonic()) < begin + 1:
                bus.labels()
                slowest = max(slowest, time.monotonic() - now)
            row.check(not program.children(), "a child was started without a token")
            if number == 2 * times - 1:
                break
            end_keyring(session, bus)
            session.start_keyring()
            bus.action("start-all")
            program.wait_for_children(TUNNELS)
        status, seconds = program.quit()
        row.check(status == 0 and seconds < 4.2, f"the program ended with {status} after {seconds:.1f} s")
        row.check(slowest < 0.2, f"the menu took {slowest:.3f} s while the keyring took its time")
        end_keyring(session, bus)
    row.times = f"{times} times each"


#: Each row: what is tried, how, and how often in the short and in the long form.
ROWS = [
    ("kill -9 at random moments, children that write", partial(kill_at_random_moments, script=CHATTY), 20, 150),
    ("kill -9 at random moments, children that never write", partial(kill_at_random_moments, script=SILENT), 20, 150),
    ("the keyring asks without an answer, or is frozen", keyring_slow, 1, 5),
]


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
    is_short = "--short" in sys.argv[1:]
    rows = [tried(what, action, short if is_short else long) for what, action, short, long in ROWS]
    show(rows)
    return 1 if any(row.lost for row in rows) else 0


sys.exit(main())
