#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Shows Morvanel without an account: demo.py PROGRAM CLOUDFLARED PICTURES

The profile is a throw-away one and `CLOUDFLARED` the stand-in. On the user's own display the program stays until it
is quit. Without a display it runs in a virtual desktop, first a light and then a dark one, of which pictures are
saved in the folder `PICTURES`.
"""

import os
import re
import sys
from pathlib import Path

from demo_sessions import BorrowedDisplay, DarkSession
from desktop_reader import Bus, StatusItem
from pictures import PANEL, PROBLEM_RED, SIZE, Pictures
from session import Program, Session, tunnel, wait_for

# What each tunnel plays; the last one is stopped through the menu once it is connected.
TUNNELS = {
    "Home Server": ("home.example.com", "connected"),
    "Staging": ("staging.example.com", "reconnecting"),
    "Webhooks": ("hooks.example.com", "refused"),
    "Media Library": ("", "connected"),
}
EXPECTED = {
    "Home Server": "Connected (4 connections)",
    "Staging": "Reconnecting…",
    "Webhooks": "Error · Tunnel is disabled by its owner",
    "Media Library": "Stopped · click to start",
}


def prepare(session, cloudflared):
    """Gives the session the demonstration's tunnels and their tokens."""
    tunnels = [tunnel(name, hostname, start=True) for name, (hostname, _) in TUNNELS.items()]
    session.configure(tunnels, cloudflared, lambda t: f"eyJdemonstration.scenario.{TUNNELS[t['name']][1]}")


def details(item):
    """What the menu says of each tunnel."""
    lines = (label.partition("\n") for label in item.labels())
    return {name: detail for name, separator, detail in lines if separator}


def play(item):
    """Waits until the tunnels are as expected."""
    wait_for(lambda: details(item).get("Media Library", "").startswith("Connected"), "the last tunnel connects")
    item.click("Media Library")
    wait_for(lambda: details(item) == EXPECTED, lambda: f"the menu says {EXPECTED}, not {details(item)}")


def show(program, cloudflared, folder, kind):
    """One virtual desktop, light or dark, from the start of the program to its end."""
    with (DarkSession if kind == "dark" else Session)(display=SIZE) as session:
        session.start_panel()
        prepare(session, cloudflared)
        running = Program(session, program, {"MORVANEL_LIFETIME": "0"})
        item, pictures = StatusItem(Bus(session)), Pictures(session, folder, kind)
        play(item)
        wait_for(lambda: pictures.find(PROBLEM_RED, PANEL), "the panel shows the icon")
        print(f"{kind}: the panel shows {item.icon}, \"{item.tooltip}\"; its menu:")
        print("\n".join("    " + re.sub("\n", "  ", label) for label in item.labels() if label != "-"))
        pictures.save("panel", PANEL)
        pictures.window("settings", "Morvanel Settings", 20, 90)
        pictures.menu()
        pictures.save("desktop")
        pictures.key("Escape")
        pictures.wait_for_window("Morvanel Settings")
        pictures.key("ctrl+Tab")
        pictures.window("general", "Morvanel Settings", 20, 90)
        pictures.key("ctrl+l")
        pictures.window("logs", "Tunnel Logs", 100, 90)
        status, seconds = running.quit()
        print(f"  quit in {seconds:.1f} s with status {status}")
        if status != 0 or running.errors():
            sys.exit(f"The program has said: {running.errors()}")


def show_on_own_display(program, cloudflared):
    with BorrowedDisplay() as session:
        if session.owner("com.ardentwick.Morvanel"):
            sys.exit("Morvanel is running in this session; please quit it first.")
        try:
            prepare(session, cloudflared)
            print("Four tunnels that need no account. Look at the panel; quit from the menu or with Ctrl+C here.")
            running = Program(session, program, {"MORVANEL_LIFETIME": "0"})
            try:
                status = running.process.wait()
            except KeyboardInterrupt:
                status = running.quit()[0]
            sys.stderr.write(running.errors())
        finally:
            session.forget_tokens()
        sys.exit(status)


def main():
    program, cloudflared, folder = (Path(argument).absolute() for argument in sys.argv[1:])
    if os.environ.get("DISPLAY") or os.environ.get("WAYLAND_DISPLAY"):
        show_on_own_display(program, cloudflared)
    folder.mkdir(parents=True, exist_ok=True)
    for kind in ("light", "dark"):
        show(program, cloudflared, folder, kind)
    print(f"The pictures are in {folder}")


if __name__ == "__main__":
    try:
        main()
    except FileNotFoundError as error:
        sys.exit(f"The demonstration needs {error.filename}, which is not here.")
    except AssertionError as error:
        sys.exit(f"The demonstration has failed: {error}")
