# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Five tunnels whose children write as fast as they can: memory is flat, and everything answers."""

import subprocess
import sys
import time
from functools import partial
from pathlib import Path

from harness import Bus, Row, configured, launched, running
from session import Session

TUNNELS = 5
RATE = 200_000
LINE_BYTES = 150
CLICK = Path(__file__).with_name("click.py")
ANSWER = 0.2
GROWTH_KIB = 4096


def bytes_read(program):
    """So far, from its children above all."""
    return int(Path(f"/proc/{program.pid}/io").read_text().split()[1])


def flood(seconds, is_shown):
    row = Row(f"{TUNNELS} tunnels of {RATE} lines a second, the Logs window {'open' if is_shown else 'closed'}")
    row.times = f"{seconds} s"
    with Session(display="1280x900") as session:
        cloudflared = configured(session, TUNNELS, f"opening\nregistered 0\nflood {RATE}\nwait\non-term\nshutdown",
                                 showsInDock=False)
        program = launched(session, TUNNELS)
        bus = Bus(session)
        clicks = None
        if is_shown:
            bus.action("logs")
            clicks = session.spawn(sys.executable, str(CLICK), str(program.pid), "Tunnel Logs", "Copy",
                                   str(max(3, seconds)), stdout=subprocess.PIPE, text=True)
        time.sleep(5)
        begin, first, memory = time.monotonic(), bytes_read(program), program.resident_kib()
        slowest, least, most = 0.0, memory, memory
        while time.monotonic() - begin < seconds:
            slowest = max(slowest, bus.layout_seconds())
            least, most = min(least, program.resident_kib()), max(most, program.resident_kib())
            time.sleep(0.2)
        lines = (bytes_read(program) - first) / LINE_BYTES / (time.monotonic() - begin)
        row.check(program.resident_kib() - memory < GROWTH_KIB, f"memory grew from {memory} to {program.resident_kib()} KiB")
        row.check(slowest < ANSWER, f"the menu took {slowest * 1000:.0f} ms")
        if clicks:
            answers = sorted(int(line) for line in clicks.communicate(timeout=seconds + 60)[0].split()) or [-1]
            usual = answers[len(answers) * 95 // 100]  # other programs of the machine want the processor too
            row.check(clicks.returncode == 0 and 0 <= usual < ANSWER * 1000, f"clicks took {answers} ms")
            row.figure(f"presses and releases: {len(answers)}, half of them within {answers[len(answers) // 2]} ms, "
                       f"95 % within {usual} ms, {answers[-1]} ms at most")
        stopped = bus.stop_all()
        row.check(stopped < 1, f"Stop All took {stopped:.2f} s")
        row.check(program.quit()[0] == 0, "the program did not end well")
        row.check(not running(cloudflared), "a child was left behind")
    row.figure(f"{lines:,.0f} lines a second were read; memory {least} to {most} KiB; menu {slowest * 1000:.0f} ms at most; "
               f"Stop All {stopped * 1000:.0f} ms")
    return row


def rows(short):
    seconds = 10 if short else 60
    yield partial(flood, seconds, False)
    yield partial(flood, seconds, True)
