#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""How the program grows with the number of tunnels, started with the usual soft limit of 1024 open files."""

import os
import resource
import sys
import time
from pathlib import Path

from watcher import Watcher, open_and_close

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "demo"))
from session import Program, Session, tunnel, wait_for  # noqa: E402

PROGRAM = Path(os.environ["MORVANEL_BENCH"]) / "morvanel"
CLOUDFLARED = os.environ["MORVANEL_CLOUDFLARED"]
COLUMNS = ("tunnels", "item ms", "MiB", "menu ms", "menu KiB", "Settings ms", "start s", "held ms", "running", "MiB",
           "stop s")


def settled(count, meanwhile=lambda: None):
    """Waits until `count` stays as it is for two seconds; returns it and the seconds until then."""
    begin = last_change = time.monotonic()
    value = count()
    while time.monotonic() < last_change + 2:
        meanwhile()
        time.sleep(0.005)
        if count() != value:
            value, last_change = count(), time.monotonic()
    return value, last_change - begin


def mib(program):
    return program.resident_kib() / 1024


def row(count):
    with Session(display="1280x900") as session:
        watcher = Watcher(session)
        tunnels = [tunnel(f"tunnel {i}") for i in range(count)]
        session.configure(tunnels, CLOUDFLARED, lambda _: "eyJ.scenario.connected", showsInDock=False)
        program, until_item = watcher.time_until_registered(lambda: Program(session, PROGRAM))
        settled(program.cpu_seconds)
        at_rest = mib(program)
        menu_bytes, menu_seconds = watcher.whole_menu()
        settings = open_and_close(session, watcher, "settings", "Morvanel Settings")
        watcher.action("start-all")
        answers = []
        running, start = settled(lambda: len(program.children()), lambda: answers.append(watcher.answer()))
        settled(program.cpu_seconds)
        full = mib(program)
        begin = time.monotonic()
        watcher.action("stop-all")
        wait_for(lambda: not program.children(), "all have ended")
        stop = time.monotonic() - begin
        program.quit()
        return (count, f"{until_item * 1000:.0f}", f"{at_rest:.1f}", f"{menu_seconds * 1000:.1f}",
                f"{menu_bytes / 1024:.0f}", f"{settings * 1000:.0f}", f"{start:.1f}",
                f"{max(answers) * 1000:.0f}", running, f"{full:.1f}", f"{stop:.1f}")


def main():
    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (1024, hard))
    print(" ".join(f"{title:>11}" for title in COLUMNS))
    for count in (5, 50, 500, 2000):
        print(" ".join(f"{value:>11}" for value in row(count)), flush=True)


main()
