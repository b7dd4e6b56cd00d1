# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Children that do not behave: each is stopped within its deadline, and the program rests meanwhile."""

import os
import shutil
import signal
import time
from functools import partial

from harness import CLOUDFLARED, Bus, DRIVER, Row, configured, launched, running, started
from session import Session, ignores, wait_for

STOP_SECONDS = 6.0
QUIT_SECONDS = 4.1  # looked at every 0.2 s
LATE = 0.6

#: What a child does, its script, and how long a stop of it takes.
UNRULY = [
    ("ends while grandchildren keep its pipe, one of them writing", "opening\nfork-hold 60\nfork-hold 60 20\nraw ERR gone\nexit 2", None),
    ("closes its output and lives", "opening\nregistered 0\nclose-output\nwait", 0),
    ("writes without end after SIGTERM", "opening\nregistered 0\nwait\non-term\nflood 0", STOP_SECONDS),
    ("ignores SIGTERM", "sigterm ignore\nopening\nregistered 0\nwait", STOP_SECONDS),
    ("stops itself", "opening\nregistered 0\nstop-self\nwait", STOP_SECONDS),
]


def misbehaves(what, script, seconds, times):
    row = Row(f"a child that {what}")
    row.times = f"{times} times 5 children, and at quit"
    slowest, busiest = 0.0, 0.0
    with Session() as session:
        cloudflared = configured(session, 5, script)
        program = launched(session, 0 if seconds is None else 5)
        bus = Bus(session)
        for number in range(times):
            if seconds is None:
                wait_for(lambda: len(running(cloudflared)) == 5 * (number + 1), "each has left a silent grandchild")
                wait_for(lambda: bus.all_say("gone"), "all have failed")
            else:
                program.wait_for_children(5)
                wait_for(lambda: bus.all_say("Connected"), "all are connected")
                busiest = max(busiest, busy(program))
                slowest = max(slowest, bus.stop_all(STOP_SECONDS + 5))
            row.check(program.children() == [], "a child is left after it was stopped")
            bus.action("start-all")
        status, took = program.quit()
        row.check(status == 0, "the program did not end well")
        row.check(took < QUIT_SECONDS + LATE, f"quitting took {took:.1f} s")
        for relative in running(cloudflared):
            if seconds is not None:
                row.check(False, "a child outlived the program")
            os.kill(relative, signal.SIGKILL)
    if seconds is not None:
        row.check(slowest < seconds + LATE, f"stopping took {slowest:.1f} s, {seconds:.0f} s at most")
        row.check(busiest < 0.05, f"it is busy while nothing happens: {busiest:.2f} s of 0.5 s")
        row.figure(f"stopped within {slowest:.2f} s, quit within {took:.2f} s")
    return row


def busy(program):
    before = program.cpu_seconds()
    time.sleep(0.5)
    return program.cpu_seconds() - before


def wait_for_deaf_children(program, count):
    children = program.wait_for_children(count)
    wait_for(lambda: all(ignores(child, signal.SIGTERM) for child in children), "all ignore SIGTERM")


def clock_jumps(times):
    row = Row("the clock is set a day forth and back at each look at it")
    row.times = f"{times} stops of deaf children"
    library = DRIVER.parent / "torture_wallclock.so"
    with Session() as session:
        session.environment["LD_PRELOAD"] = str(library)
        program, _ = started(session, 3, "sigterm ignore\nopening\nregistered 0\nwait")
        row.check("torture_wallclock" in open(f"/proc/{program.pid}/maps").read(), "the clock was left alone")
        bus = Bus(session)
        for _ in range(times):
            wait_for_deaf_children(program, 3)
            took = bus.stop_all(STOP_SECONDS + 5)
            row.check(STOP_SECONDS - LATE < took < STOP_SECONDS + LATE, f"stopping took {took:.2f} s")
            bus.action("start-all")
        wait_for_deaf_children(program, 3)
        took = program.quit()[1]
        row.check(QUIT_SECONDS - LATE < took < QUIT_SECONDS + LATE, f"quitting took {took:.2f} s")
    return row


def replaced_on_disk(times):
    row = Row("cloudflared is replaced or removed on disk while it runs, then kill -9")
    row.times = f"{times} times"
    with Session() as session:
        script = "opening\nregistered 0\nwait"
        cloudflared = configured(session, 3, script)
        for number in range(times):
            program = launched(session, 3)
            children = program.children()
            wait_for(lambda: sorted(session.read_preferences().get("childPIDs", [])) == sorted(children), "the ledger")
            fresh = cloudflared.with_name("fresh")
            shutil.copy(CLOUDFLARED, fresh)
            if number % 2:
                cloudflared.unlink()
            else:
                fresh.rename(cloudflared)
            program.process.kill()
            program.process.wait()
            shutil.copy(CLOUDFLARED, fresh)
            fresh.rename(cloudflared)
            program = launched(session, 3)
            wait_for(lambda: not set(children) & set(running(cloudflared)), "the old children are ended", 5)
            row.check(program.quit()[0] == 0, "the program did not end well")
    return row


def suspended(seconds, times):
    row = Row("the program is stopped (SIGSTOP) while its children write, and continued")
    row.times = f"{times} times {seconds} s"
    script = "opening\nregistered 0\nmark\nflood 2000 1\nregistered 1\nlost 1\nloop"
    with Session() as session:
        program, cloudflared = started(session, 3, script)
        bus = Bus(session)
        for _ in range(times):
            wait_for(lambda: bus.all_say("Connected"), "all are connected")
            program.process.send_signal(signal.SIGSTOP)
            time.sleep(seconds)
            children = program.children()
            program.process.send_signal(signal.SIGCONT)
            row.check(len(children) == 3, "a child ended while the program was stopped")
            begin = time.monotonic()
            bus.layout()
            row.check(time.monotonic() - begin < 1, "it takes long to go on")
            row.check(bus.stop_all() < 1, "Stop All does not work at once")
            bus.action("start-all")
            program.wait_for_children(3)
        # Stopped across a deadline: what is due is done when it goes on.
        os.kill(program.children()[0], signal.SIGSTOP)
        bus.action("stop-all")
        wait_for(lambda: len(running(cloudflared)) == 1, "the others have ended")
        program.process.send_signal(signal.SIGSTOP)
        time.sleep(STOP_SECONDS + 1)
        program.process.send_signal(signal.SIGCONT)
        wait_for(lambda: not running(cloudflared), "the deaf child is killed", 1)
        row.check(program.quit()[0] == 0, "the program did not end well")
    return row


def rows(short):
    for what, script, seconds in UNRULY:
        yield partial(misbehaves, what, script, seconds, 1 if short else 10)
    yield partial(clock_jumps, 1 if short else 5)
    yield partial(replaced_on_disk, 2 if short else 50)
    yield partial(suspended, 1 if short else 30, 1 if short else 3)
