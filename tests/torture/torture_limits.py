# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""No processes or no descriptors left when a child is to start: the tunnel fails and the program goes on."""

import os
import resource
import subprocess
import sys
import time
from functools import partial

from harness import Bus, Row, configured, launched, running
from session import Session, wait_for

#: A user without processes of its own: nobody.
USER = 65_534


def exhausted(what, limit, value, times):
    row = Row(f"no {what} left when tunnels are to start")
    row.times = f"{times} times"
    busiest = 0.0
    with Session() as session:
        cloudflared = configured(session, 3, "opening\nregistered 0\nwait", start=False)
        program = launched(session, 0)
        bus = Bus(session)
        before = resource.prlimit(program.pid, limit)
        for _ in range(times):
            bus.stop_all()
            resource.prlimit(program.pid, limit, (value(program), before[1]))
            bus.action("start-all")
            wait_for(lambda: bus.all_say("could not be started", "Missing token"), "the tunnels say that they failed")
            used = program.cpu_seconds()
            time.sleep(0.3)
            busiest = max(busiest, program.cpu_seconds() - used)
            row.check(session.read_preferences().get("childPIDs", []) == [], "the ledger lists what never ran")
            resource.prlimit(program.pid, limit, before)
            bus.action("start-all")
            program.wait_for_children(3)
        row.check(busiest < 0.1, f"it is busy without doing anything: {busiest:.2f} s of 0.3 s")
        row.check(program.quit()[0] == 0, "the program did not end well")
        row.check(not running(cloudflared), "a child was left behind")
    return row


def descriptors(program):
    return len(os.listdir(f"/proc/{program.pid}/fd"))


def as_user_without_processes(times):
    """The limit of processes does not hold for root: this runs the row as another user."""
    if os.geteuid() != 0:
        return exhausted("process", resource.RLIMIT_NPROC, lambda _: 1, times)
    command = ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups", sys.executable, __file__, str(times)]
    result = subprocess.run(command, stdout=subprocess.PIPE, text=True, env=os.environ | {"HOME": "/tmp"}, cwd="/tmp")
    row = Row("no process left when tunnels are to start")
    row.times = f"{times} times"
    for line in result.stdout.splitlines():
        row.check(False, line)
    row.check(result.returncode == 0, f"not finished: {result.returncode}")
    return row


def rows(short):
    times = 3 if short else 50
    yield partial(as_user_without_processes, times)
    yield partial(exhausted, "descriptor", resource.RLIMIT_NOFILE, descriptors, times)


if __name__ == "__main__":
    for loss in exhausted("process", resource.RLIMIT_NPROC, lambda _: 1, int(sys.argv[1])).lost:
        print(loss)
