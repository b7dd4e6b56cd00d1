# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What the session does to the program: its bus, keyring and panel end, freeze and come back."""

import os
import signal
import time
from functools import partial

from harness import Bus, Row, configured, launched, running, started
from session import Session, wait_for

FLAPPING = "opening\nregistered 0\nmark\npause 50\nlost 0\npause 50\nregistered 0\nloop"


def bus_killed(times):
    row = Row("the session bus is killed")
    row.times = f"{times} times"
    for _ in range(times):
        with Session() as session:
            program, cloudflared = started(session, 3, FLAPPING)
            children = program.children()
            bus = session.started[0]
            bus.kill()
            bus.wait()
            time.sleep(0.3)
            row.check(program.process.poll() is None, "the program ended with its bus")
            row.check(sorted(program.children()) == sorted(children), "a child ended with the bus")
            os.kill(children[0], signal.SIGKILL)
            wait_for(lambda: sorted(session.read_preferences()["childPIDs"]) == sorted(children[1:]),
                     "the ledger follows the children")
            row.check(program.quit()[0] == 0, "the program did not end well")
            row.check(not running(cloudflared), "a child was left behind")
    return row


def keyring_gone(times):
    row = Row("the keyring is killed, locked, frozen and started again")
    row.times = f"{times} times each"
    slowest = 0.0
    with Session() as session:
        program, _ = started(session, 3, FLAPPING)
        bus = Bus(session)
        for number in range(3 * times):
            bus.stop_all()
            (end, lock, freeze)[number % 3](session, bus)
            begin = time.monotonic()
            bus.action("start-all")
            wait_for(lambda: bus.all_say("Missing token"),
                     "the tunnels say that there is no token", 10)
            slowest = max(slowest, time.monotonic() - begin)
            row.check(not program.children(), "a child was started without a token")
            end(session, bus)
            session._start_keyring()
            bus.action("start-all")
            row.check(len(program.wait_for_children(3)) == 3, "the tunnels do not start again")
        row.check(program.quit()[0] == 0, "the program did not end well")
    row.figure(f"longest until three tunnels said so: {slowest:.2f} s")
    return row


def end(session, bus):
    while owner := bus.owner_process("org.freedesktop.secrets"):  # the bus may have started another, locked one
        os.kill(owner, signal.SIGKILL)
        wait_for(lambda: bus.owner_process("org.freedesktop.secrets") != owner, "the keyring is gone")


def lock(session, _):
    session.run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.secrets",
                "/org/freedesktop/secrets", "org.freedesktop.Secret.Service.Lock",
                "array:objpath:/org/freedesktop/secrets/collection/login")


def freeze(_, bus):
    os.kill(bus.owner_process("org.freedesktop.secrets"), signal.SIGSTOP)


def panel_gone(times, frozen_seconds):
    row = Row("the panel is killed, frozen and started again")
    row.times = f"{times} times killed, {frozen_seconds} s frozen"
    slowest = 0.0
    with Session(display="1280x900") as session:
        configured(session, 3, FLAPPING, showsInDock=False)
        panel = session.start_panel()
        program = launched(session, 3)
        bus = Bus(session)
        for _ in range(times):
            panel.kill()
            panel.wait()
            wait_for(lambda: not bus.registered_items(), "the watcher is gone")
            row.check(program.process.poll() is None, "the program ended with the panel")
            panel = session.start_panel()
            wait_for(lambda: len(bus.registered_items()) == 1, "the item is in the new panel")
        panel.send_signal(signal.SIGSTOP)
        deadline = time.monotonic() + frozen_seconds
        while time.monotonic() < deadline:
            slowest = max(slowest, bus.layout_seconds())
            bus.stop_all()
            bus.action("start-all")
            program.wait_for_children(3)
        panel.send_signal(signal.SIGCONT)
        row.check(slowest < 0.2, f"the menu took {slowest:.3f} s while the panel was frozen")
        row.check(len(bus.registered_items()) == 1, "the item is gone after the panel was frozen")
        row.check(program.quit()[0] == 0, "the program did not end well")
    row.figure(f"menu while the panel was frozen: {slowest * 1000:.0f} ms at most")
    return row


def rows(short):
    yield partial(bus_killed, 3 if short else 30)
    yield partial(keyring_gone, 1 if short else 10)
    yield partial(panel_gone, 2 if short else 20, 3 if short else 30)
