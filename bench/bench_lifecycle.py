#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""The program from start to end: until its item is on the bus, its memory, a second launch, quitting."""

import os
import statistics
import sys
import time
from pathlib import Path

from watcher import Watcher, open_and_close

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "demo"))
from session import Program, Session, tunnel  # noqa: E402

BUILD = Path(os.environ["MORVANEL_BENCH"])
PROGRAM = BUILD / "morvanel"
CLOUDFLARED = os.environ["MORVANEL_CLOUDFLARED"]
ROUNDS = 15


def configured(session, *scenarios):
    tunnels = [tunnel(name, start=True) for name in scenarios]
    session.configure(tunnels, CLOUDFLARED, lambda t: f"eyJ.scenario.{t['name']}", showsInDock=False)


def rest(program):
    """Waits until it has used no processor time for two and a half seconds: the tunnels are connected then."""
    before = -1.0
    while program.cpu_seconds() != before:
        before = program.cpu_seconds()
        time.sleep(2.5)


def measure_start(session, watcher):
    figures = {PROGRAM: [], BUILD / "bare_tray": []}
    for _ in range(ROUNDS):
        for path, seconds in figures.items():
            program, taken = watcher.time_until_registered(lambda: Program(session, path))
            seconds.append(taken * 1000)
            program.quit()
    ours, bare = (statistics.median(seconds) for seconds in figures.values())
    print(f"start to the item on the bus: {ours:.0f} ms, bare tray icon {bare:.0f} ms: "
          f"{ours / bare:.2f} times (at most 1.5)")


# Of the resident memory above the bare icon's, most is code that others share: the keyring's libraries (3.2 MiB), the
# program's file (1.1), Qt Svg (0.4). What it costs alone is its dirty pages.
def measure_memory(session, watcher):
    dirty = {PROGRAM: [], BUILD / "bare_tray": []}
    figures = {PROGRAM: [], BUILD / "bare_tray": []}
    for _ in range(3):
        for path, kib in figures.items():
            program, _ = watcher.time_until_registered(lambda: Program(session, path))
            if path == PROGRAM:
                program.wait_for_children(3)
            rest(program)
            kib.append(program.resident_kib() / 1024)
            dirty[path].append(program.private_dirty_kib() / 1024)
            program.quit()
    ours, bare = (statistics.median(kib) for kib in figures.values())
    print(f"memory at rest, 3 tunnels, no window yet: {ours:.1f} MiB, bare tray icon {bare:.1f} MiB: "
          f"{ours / bare:.2f} times (at most 1.35)")
    ours, bare = (statistics.median(mib) for mib in dirty.values())
    print(f"private dirty pages: {ours:.1f} MiB, bare tray icon {bare:.1f} MiB: "
          f"{ours - bare:.1f} MiB more (at most 4)")


def measure_growth(session, watcher):
    program, _ = watcher.time_until_registered(lambda: Program(session, PROGRAM))
    program.wait_for_children(3)
    rest(program)
    mib = [program.resident_kib() / 1024]
    for _ in range(10):
        open_and_close(session, watcher, "settings", "Morvanel Settings")
        open_and_close(session, watcher, "logs", "Tunnel Logs")
        mib.append(program.resident_kib() / 1024)
    print(f"memory with Settings and Logs opened and closed: before {mib[0]:.1f} MiB, once {mib[1]:.1f}, "
          f"twice {mib[2]:.1f}, ten times {mib[10]:.1f}: {mib[10] - mib[2]:+.2f} MiB since twice (at most +1)")
    program.quit()


def measure_second_launch(session, watcher):
    program, _ = watcher.time_until_registered(lambda: Program(session, PROGRAM))
    figures = {PROGRAM: [], BUILD / "bare_call": []}
    for _ in range(2 * ROUNDS):
        for path, seconds in figures.items():
            begin = time.monotonic()
            session.run(str(path))
            seconds.append((time.monotonic() - begin) * 1000)
    program.quit()
    ours, bare = (statistics.median(seconds) for seconds in figures.values())
    print(f"second launch: {ours:.1f} ms, bare program with one D-Bus call {bare:.1f} ms: "
          f"{ours / bare:.2f} times (at most 3)")


def measure_quit():
    """Each time is that of the child from SIGTERM to its end; a program of its own for each."""
    for milliseconds in (0, 150, 500, 1000, 2000, 3500):
        with Session() as session:
            session.configure([tunnel("one", start=True)], CLOUDFLARED, lambda _: "eyJ", showsInDock=False)
            script = f"opening\nregistered 0\nwait\non-term\npause {milliseconds}\nexit 0"
            program = Program(session, PROGRAM, {"MORVANEL_SCRIPT": script})
            program.wait_for_children(1)
            rest(program)
            status, seconds = program.quit()
            after = seconds * 1000 - milliseconds
            print(f"quit, child ends after {milliseconds:4d} ms: program ends {after:+.0f} ms later, "
                  f"status {status} (at most +250, 0)")
    with Session() as session:
        configured(session, "ignores-term")
        program = Program(session, PROGRAM)
        program.wait_for_children(1)
        rest(program)
        status, seconds = program.quit()
        print(f"quit, child ignores SIGTERM: program ends after {seconds:.2f} s, status {status} (4.0 to 4.3, 0)")


def main():
    with Session(display="1280x900") as session:
        watcher = Watcher(session)
        configured(session, "connected", "connected", "connected")
        measure_start(session, watcher)
        measure_memory(session, watcher)
        measure_growth(session, watcher)
        measure_second_launch(session, watcher)
    measure_quit()


main()
