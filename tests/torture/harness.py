# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What the torture's groups share: the programs, a tunnelled session, its bus, and the rows of the table."""

import os
import shutil
import sys
import time
from pathlib import Path

from gi.repository import GLib

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "desktop"))
import desktop_reader  # noqa: E402
from desktop_reader import NAME  # noqa: E402
from session import Program, executable, process_ids, tunnel, wait_for  # noqa: E402

PROGRAM = Path(os.environ["MORVANEL_PROGRAM"])
CLOUDFLARED = Path(os.environ["MORVANEL_CLOUDFLARED"])
DRIVER = Path(os.environ["MORVANEL_DRIVER"])


class Row:
    """One thing that was tried, how often, and what was lost by it."""

    def __init__(self, what):
        self.what = what
        self.times = "once"
        self.lost = []
        self.figures = []

    def check(self, holds, loss):
        """Notes a loss unless `holds`; returns whether it does."""
        if not holds:
            self.lost.append(loss)
        return bool(holds)

    def figure(self, text):
        self.figures.append(text)


class Bus(desktop_reader.Bus):
    """A client on the session's bus that asks the program for things and reads its menu."""

    def action(self, name):
        """What a desktop file's action asks of the program."""
        arguments = GLib.Variant("(sava{sv})", (name, [], {}))
        self.call(NAME, "/com/ardentwick/Morvanel", "org.freedesktop.Application", "ActivateAction", arguments)

    def layout(self):
        arguments = GLib.Variant("(iias)", (0, -1, []))
        return self.call(NAME, "/MenuBar", "com.canonical.dbusmenu", "GetLayout", arguments)[1]

    def layout_seconds(self):
        """How long the menu takes to come."""
        begin = time.monotonic()
        self.layout()
        return time.monotonic() - begin

    def tunnel_labels(self):
        labels = [entry[1].get("label", "") for entry in self.layout()[2]]
        return [label for label in labels if "\n" in label or " — " in label]

    def all_say(self, *texts):
        """Whether there are tunnels and each of them says one of these."""
        labels = self.tunnel_labels()
        return bool(labels) and all(any(text in label for text in texts) for label in labels)

    def has_menu(self):
        try:
            return bool(self.layout())
        except GLib.Error:
            return False

    def stop_all(self, timeout=15.0):
        """Stops all tunnels and returns the seconds until all of them say that they are."""
        begin = time.monotonic()
        self.action("stop-all")
        wait_for(lambda: self.all_say("Stopped"), "all tunnels are stopped", timeout)
        return time.monotonic() - begin

    def owner_process(self, name):
        """The process that owns the name; 0 for none."""
        try:
            return self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                             "GetConnectionUnixProcessID", GLib.Variant("(s)", (name,)))[0]
        except GLib.Error:
            return 0


def configured(session, count, script, start=True, **others):
    """Stores so many tunnels, launch tunnels unless told otherwise, for a copy of the stand-in that plays `script`; the copy's path."""
    cloudflared = session.home / "bin/cloudflared"
    cloudflared.parent.mkdir(exist_ok=True)
    shutil.copy(CLOUDFLARED, cloudflared)
    tunnels = [tunnel(f"t{number}", start=start) for number in range(count)]
    session.configure(tunnels, cloudflared, **others)
    for record in tunnels:
        session.store_token(record["id"], "eyJtoken")
    session.environment |= {"MORVANEL_SCRIPT": script, "MORVANEL_LIFETIME": "3600"}
    return cloudflared


def started(session, count, script, **others):
    """The program with so many running tunnels, and the path of their program."""
    cloudflared = configured(session, count, script, **others)
    return launched(session, count), cloudflared


def launched(session, count):
    """The program once all the tunnels that it was configured with run."""
    program = Program(session, PROGRAM, {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"})
    program.wait_for_children(count)
    wait_for(lambda: session.owner(NAME) and Bus(session).has_menu(), "the program is on the bus")
    return program


def running(program):
    """The ids of the processes that run this file, zombies left out."""
    return [pid for pid in process_ids() if executable(pid).removesuffix(" (deleted)") == str(program)]
