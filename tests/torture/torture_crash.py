# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""kill -9 at random moments: what was completed is stored, and nothing runs on without an owner."""

import os
import random
import shutil
import time
from functools import partial

from harness import CLOUDFLARED, DRIVER, Row, running
from session import Session, wait_for

CHATTY = "opening\nregistered 0\nmark\npause 100\nprint INF Still here\nloop"
SILENT = "wait"
STARTUP_SECONDS = 20
ORPHAN_SECONDS = 4


class Expected:
    """What must be stored: the state after the last completed operation, or after the one under way."""

    def __init__(self):
        self.tunnels = []
        self.dock = True

    def after(self, words):
        next_state = Expected()
        next_state.tunnels = list(self.tunnels)
        next_state.dock = self.dock
        if words[0] == "add":
            next_state.tunnels.append((words[1], words[2]))
        elif words[0] == "remove":
            next_state.tunnels = [t for t in self.tunnels if t[0] != words[1]]
        elif words[0] == "move":
            source, target = int(words[1]), int(words[2])
            record = next_state.tunnels.pop(source)
            next_state.tunnels.insert(target - (source < target), record)
        elif words[0] == "dock":
            next_state.dock = words[1] == "1"
        return next_state

    def __eq__(self, other):
        return (self.tunnels, self.dock) == (other.tunnels, other.dock)


class Run:
    """One run of the driver, killed at a random moment."""

    def __init__(self, session, cloudflared, script, seed, pause=0):
        self.output = session.home / f"driver.{seed}"
        with open(self.output, "wb") as out, open(session.home / "driver.err", "ab") as errors:
            self.process = session.spawn(str(DRIVER), str(seed), "0", str(pause), stdout=out, stderr=errors,
                                         environment={"MORVANEL_SCRIPT": script, "MORVANEL_LIFETIME": "300"})
        self.cloudflared = cloudflared
        self.session = session

    def lines(self):
        return self.output.read_text().splitlines()

    def wait_until_ready(self):
        wait_for(lambda: "ready" in self.lines() or self.process.poll() is not None, "the driver is ready",
                 STARTUP_SECONDS)

    def loaded(self):
        """What this run found stored, and the ids of the tunnels without a token."""
        state, bare = Expected(), set()
        for line in self.lines():
            words = line.split(" ")
            if words[0] == "tunnel":
                state.tunnels.append((words[1], words[2]))
                if words[3] != "yes":
                    bare.add(words[1])
            elif words[0] == "dock":
                state.dock = words[1] == "1"
            elif words[0] == "ready":
                break
        return state, bare

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.session.started.remove(self.process)

    def played(self, state):
        """The states that may be stored after it, from the one it began with; and the operation under way."""
        under_way = None
        completed = 0
        for line in self.lines():
            if line.startswith("doing "):
                under_way = line.split(" ")[1:]
            elif line == "done":
                state, under_way = state.after(under_way), None
                completed += 1
        return completed, state, under_way


def kill_at_random_moments(times, script, label, seed=1):
    row = Row(f"kill -9 at random moments, {label}")
    chance = random.Random(seed)
    operations = escaped = 0
    with Session() as session:
        cloudflared = session.home / "cloudflared"
        shutil.copy(CLOUDFLARED, cloudflared)
        session.configure([], cloudflared)
        candidates, excused, orphans = [Expected()], set(), []
        for number in range(times):
            run = Run(session, cloudflared, script, seed * 10_000 + number)
            run.wait_until_ready()
            stored, bare = run.loaded()
            if not row.check(stored in candidates, f"run {number}: a setting is older than the last completed change"):
                break
            row.check(bare <= excused, f"run {number}: a token is lost")
            excused &= {identifier for identifier, _ in stored.tunnels}
            left = still_there(orphans, cloudflared)
            escaped += len(left)
            for orphan in left:
                os.kill(orphan, 9)
            time.sleep(chance.uniform(0, 0.25))
            run.kill()
            orphans = running(cloudflared)
            session.read_preferences()
            completed, state, under_way = run.played(stored)
            operations += completed
            candidates = [state] + ([state.after(under_way)] if under_way else [])
            if under_way and under_way[0] == "remove":
                excused.add(under_way[1])
        for orphan in running(cloudflared):
            os.kill(orphan, 9)
    row.check(escaped == 0, f"{escaped} children stayed without an owner")
    row.times = f"{times} kills, {operations} operations"
    return row


def still_there(orphans, cloudflared):
    """Those that live although the next run has started, which asked them to end, and had time to."""
    deadline = time.monotonic() + ORPHAN_SECONDS
    while True:
        left = sorted(set(orphans) & set(running(cloudflared)))
        if not left or time.monotonic() >= deadline:
            return left
        time.sleep(0.02)


def rows(short):
    times = 40 if short else 300
    yield partial(kill_at_random_moments, times, CHATTY, "children that write", 1)
    yield partial(kill_at_random_moments, times, SILENT, "children that never write", 2)
