# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Fifty tunnels that connect, lose, fail and are restarted at random: nothing is used up with time."""

import os
import random
import signal
import time
from functools import partial
from pathlib import Path

from gi.repository import GLib

from harness import DRIVER, NAME, Bus, Row, configured, launched, running
from session import Session, tunnel, wait_for

TUNNELS = 50
SPEED = 20
GROWTH_KIB = 4096
#: The lines first fill a tunnel's log, whose memory would look like growth otherwise.
BEGIN = "blast 2100 150 chunks\nopening\npause 400\nregistered 0\nregistered 1\n"
SCENARIOS = {
    "steady": BEGIN + "wait",
    "flapping": BEGIN + "mark\npause 3000\nlost 0\nlost 1\npause 9000\nregistered 0\npause 2000\nregistered 1\nloop",
    "failing": BEGIN + "pause 60000\nprint ERR Lost all error=\"no more connections\"\nexit 1",
    "crashing": BEGIN + "pause 40000\npartial half a line\ndie SIGSEGV",
    "deaf": "sigterm ignore\n" + BEGIN + "wait",
    "talking": BEGIN + "mark\nflood 200 1\npause 2000\nloop",
    "refused": BEGIN + "pause 5000\nraw Provided Tunnel token is not valid.\nexit 255",
}


def soak(seconds):
    row = Row(f"{TUNNELS} tunnels that connect, lose, fail and are restarted at random")
    chance = random.Random(7)
    with Session() as session:
        folder = session.home / "scenarios"
        folder.mkdir()
        for name, script in SCENARIOS.items():
            (folder / f"{name}.scenario").write_text(script)
        cloudflared = configured(session, 0, "wait")
        names = [f"{list(SCENARIOS)[n % len(SCENARIOS)]}-{n}" for n in range(TUNNELS)]
        tunnels = [tunnel(name, start=True) for name in names]
        session.configure(tunnels, cloudflared, showsInDock=False)
        for record in tunnels:
            session.store_token(record["id"], f"eyJ.scenario.{record['name'].partition('-')[0]}")
        session.environment |= {"MORVANEL_SCENARIOS": str(folder), "MORVANEL_SPEED": str(SPEED)}
        program = launched(session, TUNNELS)
        bus = Bus(session)
        begin = time.monotonic()
        actions = disturb(program, bus, chance, begin + min(60, seconds / 3))
        first = figures(program, bus)
        actions += disturb(program, bus, chance, begin + seconds)
        last = figures(program, bus)
        row.check(last["descriptors"] <= first["descriptors"], "descriptors are used up")
        row.check(last["threads"] <= first["threads"], "threads are used up")
        if "libasan" not in Path(f"/proc/{program.pid}/maps").read_text():
            row.check(last["memory"] - first["memory"] < GROWTH_KIB, "memory is used up")
        row.check(program.quit()[0] == 0, "the program did not end well")
        row.check(not running(cloudflared), "a child was left behind")
        row.check("ERROR: " not in program.errors() and "runtime error" not in program.errors(), program.errors())
    row.times = f"{seconds:.0f} s, {actions} clicks and kills"
    for name in first:
        row.figure(f"{name}: {first[name]} after the first minute, {last[name]} at the end")
    return row


def disturb(program, bus, chance, end):
    """Clicks on tunnels and kills children at random until `end`; how many."""
    count = 0
    while time.monotonic() < end:
        entries = [entry[0] for entry in bus.layout()[2] if "\n" in entry[1].get("label", "")]
        for identifier in chance.sample(entries, 6):
            arguments = GLib.Variant("(isvu)", (identifier, "clicked", GLib.Variant("i", 0), 0))
            bus.call(NAME, "/MenuBar", "com.canonical.dbusmenu", "Event", arguments)
        children = program.children()
        for child in chance.sample(children, min(2, len(children))):
            try:
                os.kill(child, chance.choice([signal.SIGKILL, signal.SIGTERM, signal.SIGSEGV]))
            except ProcessLookupError:
                continue
        count += 8
        if chance.random() < 0.1:
            bus.action(chance.choice(["start-all", "stop-all"]))
        time.sleep(0.5)
    return count


def figures(program, bus):
    """What the program uses with no tunnel running."""
    bus.stop_all()
    time.sleep(1)
    return {
        "descriptors": len(os.listdir(f"/proc/{program.pid}/fd")),
        "threads": len(os.listdir(f"/proc/{program.pid}/task")),
        "memory": program.resident_kib(),
    }


def looked_through_for_leaks(operations):
    """With the sanitizers' build its own leak check, else valgrind, where nothing can be launched: it does not know
    pidfd_open(2)."""
    is_sanitized = b"__asan_init" in DRIVER.read_bytes()
    row = Row(f"the engine {'under the leak sanitizer' if is_sanitized else 'under valgrind, without children'}")
    row.times = f"{operations} operations"
    script = "opening\nregistered 0\nmark\nprint ERR x error=\"y\" connIndex=0\npause 20\nlost 0\nregistered 0\nloop 20\nexit 1"
    with Session() as session:
        cloudflared = configured(session, 3, script)
        if not is_sanitized:
            cloudflared.unlink()
        log = session.home / "leaks.log"
        checker = [] if is_sanitized else [
            "valgrind", "--quiet", "--leak-check=full", "--show-leak-kinds=definite", "--errors-for-leak-kinds=definite",
            "--child-silent-after-fork=yes", "--error-exitcode=9", f"--log-file={log}"]
        with open(session.home / "driver.out", "wb") as out, open(session.home / "driver.err", "wb") as errors:
            engine = session.spawn(*checker, str(DRIVER), "1", str(operations), "10", stdout=out, stderr=errors,
                                   environment={"ASAN_OPTIONS": f"detect_leaks=1:exitcode=9:log_path={log}"})
            wait_for(lambda: engine.poll() is not None, "the engine ends", 60 + operations)
        logged = "".join(part.read_text() for part in session.home.glob("leaks.log*"))
        found = [line for line in logged.splitlines() if line.startswith("==") and "unhandled" not in line]
        row.check(engine.returncode == 0 and not found, "\n".join(found[:40]) or f"ended with {engine.returncode}")
    return row


def rows(short):
    yield partial(soak, 20 if short else 600)
    yield partial(looked_through_for_leaks, 60 if short else 1000)
