# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""kill -9 at random moments, and a full disk: what was completed is stored, and nothing runs on without an owner."""

import contextlib
import os
import random
import shutil
import subprocess
import time
from functools import partial
from pathlib import Path

from session import Session, processes, wait_for

CLOUDFLARED = Path(os.environ["MORVANEL_CLOUDFLARED"])
CHATTY = "opening\nregistered 0\nmark\npause 100\nprint INF Still here\nloop"
SILENT = "wait"
ORPHAN_SECONDS = 4


class Run:
    """One run of the driver, which loads what is stored and then changes it."""

    def __init__(self, session, script, seed, pause=0):
        self.output = session.home / f"driver.{seed}"
        self.session = session
        environment = {"MORVANEL_SCRIPT": script, "MORVANEL_LIFETIME": "300"}
        with open(self.output, "wb") as output, open(session.home / "driver.err", "ab") as errors:
            self.process = session.spawn(os.environ["MORVANEL_DRIVER"], str(seed), str(pause), stdout=output,
                                         stderr=errors, environment=environment)
        wait_for(lambda: self.said("have") or self.process.poll() is not None, "the driver is ready")

    def lines(self):
        """The words of each whole line that the driver has written."""
        return [line.split() for line in self.output.read_text().splitlines(keepends=True) if line.endswith("\n")]

    def said(self, word):
        """The rest of the lines that begin with the word."""
        return [line[1:] for line in self.lines() if line[0] == word]

    def kill(self):
        """Returns the states that may be stored: the last one, and the one that was under way, if any."""
        self.process.kill()
        self.process.wait()
        self.session.started.remove(self.process)
        states = [line for line in self.lines() if line[0] in ("have", "want")]
        return [line[1:] for line in (states[-2:] if states[-1][0] == "want" else states[-1:])]


def running(program):
    """The ids of the processes that run this file, zombies left out."""
    return {pid for pid, path in processes().items() if path == str(program)}


def new_session():
    """A session without tunnels, and its own copy of the stand-in."""
    session = Session()
    cloudflared = session.home / "cloudflared"
    shutil.copy(CLOUDFLARED, cloudflared)
    session.configure([], cloudflared)
    return session, cloudflared


def kill_at_random_moments(row, times, script):
    chance = random.Random(script)
    session, cloudflared = new_session()
    with session:
        allowed, orphans, excused, operations = [["dock"]], set(), set(), 0
        for number in range(times):
            run = Run(session, script, number)
            stored, = run.said("have")[:1]
            if not row.check(stored in allowed, f"run {number}: a setting is older than the last completed change"):
                break
            bare = {words[0] for words in run.said("bare")}
            row.check(bare <= excused, f"run {number}: a token is lost")
            end = time.monotonic() + ORPHAN_SECONDS
            while orphans & running(cloudflared) and time.monotonic() < end:
                time.sleep(0.02)
            escaped = orphans & running(cloudflared)
            row.check(not escaped, f"run {number}: {len(escaped)} children stayed without an owner")
            time.sleep(chance.uniform(0, 0.25))
            allowed = run.kill()
            orphans = running(cloudflared)
            session.read_preferences()
            operations += len(run.said("have"))
            excused |= set(allowed[0]) ^ set(allowed[-1])  # its token may have gone, or not have come yet
    for orphan in running(cloudflared):
        os.kill(orphan, 9)
    row.times = f"{times} kills, {operations} operations"


@contextlib.contextmanager
def small_disk(folder):
    """A file system in memory that is easily filled. Needs root."""
    folder.mkdir(parents=True, exist_ok=True)
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "morvanel-torture", folder], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "-l", folder], check=True)


def full_disk(row, times):
    if os.geteuid() != 0:
        row.times = "not tried: needs root"
        return
    session, _ = new_session()
    folder = session.preferences.parent
    filler = folder / "filler"
    preferences = session.preferences.read_text()
    with session, small_disk(folder):
        session.preferences.write_text(preferences)
        run = Run(session, CHATTY, 1, pause=5)
        for _ in range(times):
            with contextlib.suppress(OSError), open(filler, "ab", buffering=0) as full:
                while True:
                    full.write(b"x" * 4096)
            for step in (2, 4):  # while it is full, and after that
                done = len(run.said("have"))
                wait_for(lambda: len(run.said("have")) > done + step or run.process.poll() is not None, "it goes on")
                row.check(run.process.poll() is None, "the program ended when it could not save")
                session.read_preferences()
                filler.unlink(missing_ok=True)
        allowed = run.kill()
        stored = Run(session, CHATTY, 2).said("have")[0]
        row.check(stored in allowed, "what could not be saved at first was not saved later")
        left = {entry.name for entry in folder.iterdir()} - {"preferences.json"}
        row.check(len(left) <= 1, f"files are left: {left}")
    row.times = f"{times} times"


#: Each row: what is tried, how, and how often in the short and in the long form.
ROWS = [
    ("kill -9 at random moments, children that write", partial(kill_at_random_moments, script=CHATTY), 40, 300),
    ("kill -9 at random moments, children that never write", partial(kill_at_random_moments, script=SILENT), 40, 300),
    ("the disk is full while tunnels are changed", full_disk, 10, 60),
]
