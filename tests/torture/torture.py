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
DEAF = "sigterm ignore\nwait"
TUNNELS = 3
ORPHAN_SECONDS = 7
#: In place of cloudflared: nothing, and two scripts that start it; the stand-in's path goes into the braces.
WRAPPERS = (None, '#!/bin/sh\n"{}" "$@"\necho ended\n', '#!/bin/sh\nexec "{}" "$@"\n')
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


def configure(session, wrapper=None, **others):
    """Gives the session's user tunnels that start by themselves, and its own copy of the stand-in.

    With a wrapper, that is what the program starts. Returns the path of the stand-in.
    """
    program = session.home / "stand-in"
    shutil.copy(os.environ["MORVANEL_CLOUDFLARED"], program)
    path = session.home / "cloudflared"
    path.write_text(wrapper.format(program)) if wrapper else path.symlink_to(program)
    path.chmod(0o755)
    tunnels = [tunnel(f"t{number}", start=True) for number in range(TUNNELS)]
    session.configure(tunnels, path, lambda _: "eyJtoken", **others)
    return program


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


#: How the program ends, and the desktop's look that Qt loads: GTK's leaves by _exit when the display goes.
ENDS = {
    "kill -9": ("", lambda _, program: program.process.kill()),
    "SIGSEGV": ("", lambda _, program: program.process.send_signal(signal.SIGSEGV)),
    "the display's end": ("", lambda session, _: session.started[0].kill()),
    "_exit": ("gtk3", lambda session, _: session.started[0].kill()),
}


def end_at_random_moments(row, times, end, script, wrapper):
    """Ends the program while it starts and stops tunnels; no child is to be there 7 seconds later."""
    chance = random.Random(f"{end} {script} {wrapper}")
    operations = 0
    for number in range(times):
        with Session(display="640x480") as session:
            session.environment["QT_QPA_PLATFORMTHEME"], end_program = ENDS[end]
            stand_in, bus = configure(session, wrapper, showsInDock=False), Bus(session)
            before = session.read_preferences()
            program = start(session, script)
            wait_for(lambda: bus.owner_process(NAME) == program.pid, "the program is on the bus")
            program.wait_for_children(TUNNELS)
            moment = time.monotonic() + chance.uniform(0, 1.5)
            while (left := moment - time.monotonic()) > 0:
                bus.action(chance.choice(["start-all", "start-all", "stop-all"]))
                time.sleep(min(left, chance.uniform(0, 0.1)))
                operations += 1
            bus.action("start-all")
            wait_for(lambda: running(stand_in), "there are children to be lost")
            keeper = program.keeper()
            end_program(session, program)
            program.process.wait(10)
            stored = session.read_preferences()  # fails when half of it was written
            row.check(all(stored[key] == before[key] for key in before), f"run {number}: a setting is lost")
            with contextlib.suppress(AssertionError):
                wait_for(lambda: not running(stand_in) and keeper not in processes(), "all is over", ORPHAN_SECONDS)
            row.check(not running(stand_in), f"run {number}: {len(running(stand_in))} children without an owner")
            row.check(keeper not in processes(), f"run {number}: the keeper did not end")
    row.times = f"{times} ends, {operations} operations"


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
    (f"{end} at random moments, {name}", partial(end_at_random_moments, end=end, script=script, wrapper=wrapper), 1, 20)
    for end in ENDS
    for name, script, wrapper in (("children that print", CHATTY, WRAPPERS[0]),
                                  ("children that never print", SILENT, WRAPPERS[0]),
                                  ("children that ignore SIGTERM", DEAF, WRAPPERS[0]),
                                  ("a script starts the child", SILENT, WRAPPERS[1]),
                                  ("a script becomes the child", SILENT, WRAPPERS[2]))
] + [("the keyring asks without an answer, or is frozen", keyring_slow, 1, 5)]


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
