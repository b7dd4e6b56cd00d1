#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What the item in the panel costs: from a child's line to the bus, while many lines come, and at rest."""

import os
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "demo"))
from session import Program, Session, tunnel, wait_for  # noqa: E402

BUILD = Path(os.environ["MORVANEL_BENCH"])
HELPER = BUILD / "bench_panel"
REST_SECONDS = 20
REGISTERED = b"2026-11-24T17:16:51Z INF Registered tunnel connection connIndex=%d\n"
LOST = b"2026-11-24T17:16:51Z INF Unregistered tunnel connection connIndex=%d\n"


class Bus:
    """Counts the bytes of all messages on the session's bus."""

    def __init__(self, session):
        self.file = session.home / "messages"
        with open(self.file, "wb") as messages:
            self.process = session.spawn("dbus-monitor", "--session", "--binary", stdout=messages)
        self.rest()

    def size(self):
        return self.file.stat().st_size

    def rest(self):
        """Waits until a second has passed without a message; the number of bytes so far."""
        before = -1
        while self.size() != before:
            before = self.size()
            time.sleep(1)
        return before


def running(session, count, stored):
    """The program with so many connected tunnels, and the FIFO of the last; tokens are stored for `stored`."""
    fifos = session.home / "fifos"
    fifos.mkdir()
    tunnels = [tunnel(f"t{i:03}", start=True) for i in range(stored)]
    for i, record in enumerate(tunnels):
        session.store_token(record["id"], f"eyJ{i:03}")
    session.configure(tunnels[:count], HELPER, showsInDock=False)
    program = Program(session, BUILD / "morvanel", {"MORVANEL_FIFOS": str(fifos)})
    program.wait_for_children(count)
    wait_for(lambda: len(list(fifos.iterdir())) == count, "all children are connected")
    return program, fifos / f"eyJ{count - 1:03}"


def measure_times():
    with Session() as session:
        program, fifo = running(session, 20, 20)
        time.sleep(2)
        print(session.run(str(HELPER), "client", str(fifo)), end="", flush=True)
        program.quit()


def measure_rest():
    with Session() as session:
        program, _ = running(session, 20, 20)
        time.sleep(12)  # a panel that is not there is reported after ten seconds
        bus = Bus(session)
        size, switches = bus.size(), program.switches()
        time.sleep(REST_SECONDS)
        print(f"idle: 20 connected tunnels, {REST_SECONDS} s: {program.switches() - switches} wake-ups, "
              f"{bus.size() - size} bytes on the bus (none, none)")
        program.quit()


def bytes_of_changes(count):
    """What stands on the bus for the second connection of a tunnel, and for the loss of all."""
    with Session() as session:
        program, path = running(session, count, 100)
        bus = Bus(session)
        sizes = []
        with open(path, "wb", buffering=0) as fifo:
            for lines in (REGISTERED % 1, LOST % 1 + LOST % 0):
                before = bus.size()
                fifo.write(lines)
                wait_for(lambda: bus.size() > before, "the change is sent")
                sizes.append(bus.rest() - before)
        program.quit()
        return sizes


def measure_bytes():
    few, many = bytes_of_changes(10), bytes_of_changes(100)
    for change, ten, hundred in zip(("second connection", "all connections lost"), few, many):
        print(f"bytes on the bus, {change}: 10 tunnels {ten}, 100 tunnels {hundred} (equal but for the digits of counts)")


def main():
    measure_times()
    subprocess.run([HELPER, "menus"], check=True)
    measure_bytes()
    measure_rest()


main()
