#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What the whole program costs: at rest, and for each tunnel with ten and with a hundred of them."""

import os
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "demo"))
from session import Program, Session, tunnel  # noqa: E402

PROGRAM = os.environ["MORVANEL_PROGRAM"]
CLOUDFLARED = os.environ["MORVANEL_CLOUDFLARED"]
REST_SECONDS = 20


def session_with(count):
    session = Session()
    tunnels = [tunnel(f"t{i}", start=True) for i in range(count)]
    session.configure(tunnels, CLOUDFLARED, lambda _: "eyJ.scenario.connected", showsInDock=False)
    return session


def connected(program, count):
    program.wait_for_children(count)
    previous = -1.0
    # At rest: no processor time for a second. The stand-in's connections take about two.
    while program.cpu_seconds() != previous:
        previous = program.cpu_seconds()
        time.sleep(2.5)


def measure_rest():
    with session_with(20) as session:
        program = Program(session, PROGRAM)
        connected(program, 20)
        time.sleep(10)  # a panel that is not there is reported after ten seconds
        before = program.switches()
        time.sleep(REST_SECONDS)
        print(f"idle: 20 connected tunnels, {program.switches() - before} wake-ups in {REST_SECONDS} s (none)")
        program.quit()


def run_seconds(program):
    """Processor time of all its threads so far; finer than the clock ticks of `cpu_seconds`."""
    tasks = Path(f"/proc/{program.pid}/task").iterdir()
    return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks) / 1e9


def cost_of(count):
    """Processor seconds to start, connect and stop so many tunnels, above those of the program alone."""
    with session_with(count) as session:
        program = Program(session, PROGRAM)
        connected(program, count)
        os.kill(program.pid, 15)
        last = 0.0
        while program.process.poll() is None:
            try:
                last = run_seconds(program)
            except (OSError, IndexError):
                break
            time.sleep(0.002)
        return last


def main():
    measure_rest()
    alone, ten, hundred = cost_of(0), cost_of(10), cost_of(100)
    print(f"processor time, start to end: alone {alone:.3f} s, 10 tunnels {ten:.3f} s, 100 tunnels {hundred:.3f} s")
    print(f"for each of 100 tunnels against each of 10: {(hundred / 100) / (ten / 10):.2f} (at most 1.3); "
          f"without the program's own start {((hundred - alone) / 100) / max((ten - alone) / 10, 1e-9):.2f}")


main()
