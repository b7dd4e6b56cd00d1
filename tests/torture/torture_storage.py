# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""A disk that is full or read-only while preferences are saved: nothing stored is damaged, nothing later is lost."""

import contextlib
import json
import os
import random
import subprocess
import time
from functools import partial

from harness import Row, configured
from session import Session, wait_for
from torture_crash import CHATTY, Run


@contextlib.contextmanager
def small_disk(folder):
    """A file system in memory that is easily filled. Needs root."""
    folder.mkdir(parents=True, exist_ok=True)
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "morvanel-torture", folder], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "-l", folder], check=True)


def fill(folder):
    with contextlib.suppress(OSError), open(folder / "filler", "ab", buffering=0) as filler:
        while True:
            filler.write(b"x" * 4096)


def free(folder):
    (folder / "filler").unlink()


def forbid(folder):
    subprocess.run(["mount", "-o", "remount,ro", folder], check=True)


def allow(folder):
    subprocess.run(["mount", "-o", "remount,rw", folder], check=True)


def saving_fails(label, times, begin, end):
    row = Row(f"{label} while tunnels are added, moved, removed, started and stopped")
    chance = random.Random(3)
    with Session() as session:
        folder = session.preferences.parent
        with small_disk(folder):
            cloudflared = configured(session, 0, CHATTY)
            run = Run(session, cloudflared, CHATTY, 5, pause=5)
            run.wait_until_ready()
            expected = run.loaded()[0]
            for _ in range(times):
                before = run.played(expected)[0]
                begin(folder)
                time.sleep(chance.uniform(0.02, 0.2))
                json.loads(session.preferences.read_text())
                wait_for(lambda: run.played(expected)[0] > before or run.process.poll() is not None,
                         "something is done meanwhile")
                row.check(run.process.poll() is None, "the program ended when it could not save")
                end(folder)
                now = run.played(expected)[0]
                wait_for(lambda: run.played(expected)[0] > now + 3, "it goes on")
                json.loads(session.preferences.read_text())
            run.kill()
            completed, state, under_way = run.played(expected)
            next_run = Run(session, cloudflared, CHATTY, 6)
            next_run.wait_until_ready()
            stored = next_run.loaded()[0]
            row.check(stored in [state] + ([state.after(under_way)] if under_way else []),
                      "what could not be saved at first was not saved later")
            next_run.kill()
            left = {entry.name for entry in folder.iterdir()} - {"preferences.json"}
            row.check(len(left) <= 1, f"files are left: {left}")
    row.times = f"{times} times, {completed} operations"
    return row


def left_out():
    row = Row("the disk is full or read-only while tunnels are changed")
    row.times = "not tried: needs root"
    return row


def rows(short):
    if os.geteuid() != 0:
        yield left_out
        return
    times = 10 if short else 60
    yield partial(saving_fails, "the disk is full", times, fill, free)
    yield partial(saving_fails, "the folder is read-only", times, forbid, allow)
