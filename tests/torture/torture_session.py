# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What the session does to the program: its keyring and panel end, freeze and come back."""

import os
import signal
import time
from pathlib import Path

from desktop_reader import Bus
from session import Program, Session, processes, tunnel, wait_for

FLAPPING = {"MORVANEL_SCRIPT": "opening\nregistered 0\nmark\npause 50\nlost 0\npause 50\nregistered 0\nloop"}
TUNNELS = 3
PROGRAM = Path(os.environ["MORVANEL_PROGRAM"])
SECRETS = "org.freedesktop.secrets"


def started(session):
    """The program with running tunnels."""
    tunnels = [tunnel(f"t{number}", start=True) for number in range(TUNNELS)]
    session.configure(tunnels, os.environ["MORVANEL_CLOUDFLARED"], lambda _: "eyJtoken", showsInDock=False)
    program = Program(session, PROGRAM, FLAPPING)
    program.wait_for_children(TUNNELS)
    return program


def all_say(bus, text):
    """Whether the menu says this of every tunnel."""
    return sum(text in label for label in bus.labels()) == TUNNELS


def stop_all(bus):
    bus.action("stop-all")
    wait_for(lambda: all_say(bus, "Stopped"), "all tunnels are stopped", 15)


def end(session, bus):
    while owner := bus.owner_process(SECRETS):  # the bus may have started another, locked one
        os.kill(owner, signal.SIGKILL)
        wait_for(lambda: bus.owner_process(SECRETS) != owner, "the keyring is gone")


def lock(session, bus):
    session.lock_keyring()


def freeze(session, bus):
    os.kill(bus.owner_process(SECRETS), signal.SIGSTOP)


def keyring_gone(row, times):
    with Session() as session:
        program, bus = started(session), Bus(session)
        for number in range(times):
            stop_all(bus)
            (end, lock, freeze)[number % 3](session, bus)
            bus.action("start-all")
            wait_for(lambda: all_say(bus, "Missing token"), "the tunnels say that there is no token", 20)
            row.check(not program.children(), "a child was started without a token")
            end(session, bus)
            session.start_keyring()
            bus.action("start-all")
            program.wait_for_children(TUNNELS)
        row.check(program.quit()[0] == 0, "the program did not end well")
    row.times = f"{times} times"


def keyring_slow(row, times):
    """A question that nobody answers, on the screen, and a keyring that is frozen: all the rest goes on."""
    slowest = 0.0
    with Session(display="1280x900") as session:
        program, bus = started(session), Bus(session)
        for number in range(times):
            stop_all(bus)
            (lock, freeze)[number % 2](session, bus)
            bus.action("start-all")
            wait_for(lambda: all_say(bus, "Connecting"), "the tunnels wait")
            begin = time.monotonic()
            while (now := time.monotonic()) < begin + 1:
                bus.labels()
                slowest = max(slowest, time.monotonic() - now)
            row.check(not program.children(), "a child was started without a token")
            stop_all(bus)
            end(session, bus)
            session.start_keyring()
            bus.action("start-all")
            program.wait_for_children(TUNNELS)
        stop_all(bus)
        freeze(session, bus)
        bus.action("start-all")
        wait_for(lambda: all_say(bus, "Connecting"), "the tunnels wait")
        status, seconds = program.quit()
        row.check(status == 0 and seconds < 4.2, f"the program ended with {status} after {seconds:.1f} s")
        row.check(slowest < 0.2, f"the menu took {slowest:.3f} s while the keyring took its time")
        end(session, bus)
    row.times = f"{times} times"


def panel_gone(row, times):
    slowest = 0.0
    with Session(display="1280x900") as session:
        panel = session.start_panel()
        program, bus = started(session), Bus(session)
        for _ in range(times):
            panel.kill()
            panel.wait()
            wait_for(lambda: not bus.registered_items(), "the watcher is gone")
            panel = session.start_panel()
            wait_for(lambda: len(bus.registered_items()) == 1, "the item is in the new panel")
        panel.send_signal(signal.SIGSTOP)
        for _ in range(times):
            begin = time.monotonic()
            bus.labels()
            slowest = max(slowest, time.monotonic() - begin)
            stop_all(bus)
            bus.action("start-all")
            program.wait_for_children(TUNNELS)
        panel.send_signal(signal.SIGCONT)
        row.check(slowest < 0.2, f"the menu took {slowest:.3f} s while the panel was frozen")
        row.check(len(bus.registered_items()) == 1, "the item is gone after the panel was frozen")
        row.check(program.quit()[0] == 0, "the program did not end well")
    row.times = f"{times} times"


def second_session(row, times):
    for _ in range(times):
        with Session() as session:
            program = started(session)
            children = program.children()
            wait_for(lambda: sorted(session.read_preferences()["childPIDs"]) == sorted(children), "all are listed")
            ledger = session.read_preferences()["childPIDs"]
            session._start_bus()  # what starts now is in a session of its own
            session.start_keyring()
            second = Program(session, PROGRAM, FLAPPING)
            row.check(second.process.wait(15) == 1, "the second session's program stayed")
            row.check(program.children() == children, "the second session's program ended children")
            row.check(session.read_preferences()["childPIDs"] == ledger, "the second session's program changed the ledger")
            successor = Program(session, PROGRAM, FLAPPING)
            time.sleep(0.5)
            program.process.kill()
            successor.wait_for_children(TUNNELS)
            wait_for(lambda: not set(children) & set(processes()), "the first session's children have ended")
            row.check(successor.quit()[0] == 0, "the program did not end well")
    row.times = f"{times} times"


#: As in torture_crash.py.
ROWS = [
    ("the keyring is killed, locked or frozen and started again", keyring_gone, 3, 30),
    ("a second session of the user starts the program", second_session, 1, 10),
    ("the keyring asks without an answer, or is frozen", keyring_slow, 2, 10),
    ("the panel is killed, and frozen, and started again", panel_gone, 2, 20),
]
