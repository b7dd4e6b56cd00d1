#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Presses and releases the button NAME of the window TITLE and prints after how many milliseconds each showed.

click.py TITLE NAME COUNT: run inside the session, for COUNT clicks.
"""

import subprocess
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

PATIENCE = 15.0


def descendants(node):
    yield node
    for index in range(node.get_child_count()):
        child = node.get_child_at_index(index)
        if child:
            yield from descendants(child)


def find(title, name):
    for window in descendants(Atspi.get_desktop(0)):
        if window.get_name() == title:
            for node in descendants(window):
                if node.get_name() == name and node.get_role() == Atspi.Role.PUSH_BUTTON:
                    return node
    return None


def is_pressed(node):
    node.clear_cache()
    return node.get_state_set().contains(Atspi.StateType.PRESSED)


def milliseconds_until(button, pressed, command):
    """From a command of the mouse until the button shows it."""
    begin = time.monotonic()
    subprocess.run(["xdotool", command, "1"], check=True)
    while is_pressed(button) != pressed and time.monotonic() - begin < PATIENCE:
        time.sleep(0.002)
    return round((time.monotonic() - begin) * 1000)


def main():
    title, name, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
    deadline = time.monotonic() + PATIENCE
    while not (button := find(title, name)):
        if time.monotonic() > deadline:
            sys.exit(f"there is no button {name} in {title}")
        time.sleep(0.2)
    place = button.get_extents(Atspi.CoordType.SCREEN)
    x, y = place.x + place.width // 2, place.y + place.height // 2
    subprocess.run(["xdotool", "mousemove", str(x), str(y)], check=True)
    for _ in range(count):
        print(milliseconds_until(button, True, "mousedown"), milliseconds_until(button, False, "mouseup"), flush=True)
        time.sleep(0.3)


main()
