#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Presses and releases the button NAME of a window and prints after how many milliseconds each showed.

click.py PID TITLE NAME COUNT: run inside the session, for COUNT clicks in the window TITLE of process PID.
"""

import os
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "desktop"))
from accessibility import Accessibility, Atspi, find, has_state  # noqa: E402
from session import wait_for  # noqa: E402

PATIENCE = 15.0


def milliseconds_until(button, pressed, command):
    """From a command of the mouse until the button shows it."""
    begin = time.monotonic()
    subprocess.run(["xdotool", command, "1"], check=True)
    while has_state(button, "pressed") != pressed and time.monotonic() - begin < PATIENCE:
        time.sleep(0.002)
    return round((time.monotonic() - begin) * 1000)


def main():
    pid, title, name, count = int(sys.argv[1]), sys.argv[2], sys.argv[3], int(sys.argv[4])
    accessibility = Accessibility(os.environ)
    window = wait_for(lambda: accessibility.windows(pid).get(title), f"the window {title} is there")
    button = wait_for(lambda: find(window, "push button", name), f"the button {name} is there")
    place = button.get_extents(Atspi.CoordType.SCREEN)
    x, y = place.x + place.width // 2, place.y + place.height // 2
    subprocess.run(["xdotool", "mousemove", str(x), str(y)], check=True)
    for _ in range(count):
        print(milliseconds_until(button, True, "mousedown"), milliseconds_until(button, False, "mouseup"), flush=True)
        time.sleep(0.3)


main()
