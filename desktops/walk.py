#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""One walk through Morvanel on a desktop: walk.py PROGRAM CLOUDFLARED FOLDER DESKTOP KIND

KIND is a word of `KINDS`. Each step prints a line and leaves a picture in FOLDER; their outcome is in FOLDER/KIND.json.
"""

import contextlib
import json
import subprocess
import sys
import time
from pathlib import Path

import numpy
from gi.repository import GLib
from PIL import Image

from accessibility import Accessibility, has_state
from desktop_reader import Bus
from limits import reason
from session import Program, processes, tunnel, wait_for
from shells import DESKTOPS, Shell
from sight import CONNECTED, OTHER_WINDOW, PROBLEM, Sight, differs, has_colour, patches, read

SETTINGS, LOGS = "Morvanel Settings", "Tunnel Logs"
FIRST, SECOND, REFUSED = "Garage", "Website", "Webhooks"
COUNTS = (1, 2, 12, 120)
KINDS = {  # of walks: is it dark, the scale, is it the short one
    "not-installed": (False, 1),
    "installed": (True, 1),
    "large": (False, 2),
}
FAILURES = (AssertionError, GLib.Error, subprocess.SubprocessError, OSError)


class Walk:
    def __init__(self, shell, program, cloudflared, folder, limit=lambda step: ""):
        """`limit(step)` is the reason why that step is known to fail there, if it is."""
        self.shell, self.path, self.cloudflared, self.folder, self.limit = shell, program, cloudflared, folder, limit
        self.sight = Sight(shell)
        self.accessibility = Accessibility(shell.environment)
        self.outcomes = {}
        self.program = None
        self.icons = {}
        self.others = []
        self.neighbour = None
        if shell.desktop.neighbour:
            self.start_neighbour(shell.desktop.neighbour)
            wait_for(lambda: self.sight.neighbour(self.sight.picture()), "the panel shows another program's icon", 90)
            picture = self.sight.still_picture()
            self.others = self.sight.icons(picture)
            self.neighbour = self.sight.neighbour(picture)

    def start_neighbour(self, kind):
        return self.shell.start("/usr/bin/python3", str(Path(__file__).with_name("neighbour.py")), kind)

    @contextlib.contextmanager
    def step(self, name):
        """A part of the walk that succeeds or not; the rest is tried in any case."""
        failure = ""
        try:
            yield
        except FAILURES as error:
            failure = str(error) or type(error).__name__
        self.outcomes[name] = failure
        kind = f"known limit, {self.limit(name)}" if self.limit(name) else "FAILED"
        print(f"    {name}: {kind + ': ' + failure if failure else 'ok'}", flush=True)
        with contextlib.suppress(*FAILURES):  # there is no screen any more after its end
            self.save(name, self.sight.still_picture(2))

    def save(self, name, pixels):
        Image.fromarray(pixels).save(self.folder / f"{name.replace(' ', '-')}.png")

    def launch(self, tunnels=None):
        """Starts the program, for the first time or with these tunnels and no window."""
        if tunnels is None:
            self.shell.preferences.unlink(missing_ok=True)
        else:
            self.shell.configure(tunnels, self.cloudflared, showsInDock=False)
        self.run_program()

    def run_program(self):
        self.program = Program(self.shell, self.path, {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", "MORVANEL_SPEED": "10"})

    def quit(self):
        if self.program and self.program.process.poll() is None:
            self.program.quit()
        self.park_pointer()

    def park_pointer(self):
        self.sight.point(self.shell.width // 2, self.shell.height // 2)

    def active_window(self):
        windows = self.accessibility.windows(self.program.pid)
        return next((title for title, window in windows.items() if has_state(window, "active")), None)

    def shows(self, title):
        window = self.accessibility.windows(self.program.pid).get(title)
        return bool(window) and has_state(window, "showing")

    def wait_for_active(self, title):
        wait_for(lambda: self.active_window() == title, lambda: f"{title} has the keyboard, not {self.active_window()}", 30)

    def own_icon(self):
        """The icon in the panel that was not there before the program; of several, such as a bell, the coloured or nearest.

        A digit of the clock is none.
        """
        picture = self.sight.still_picture(3)
        known = self.sight.neighbour(picture)
        new = [icon for icon in self.sight.icons(picture)
               if not any(icon.is_like(other) for other in self.others)
               and icon.size > known.width / 2 and 0.6 < icon.box.width / icon.box.height < 1.7]
        return max(new, key=lambda icon: (icon.is_coloured(), -abs(icon.box.left - known.left)), default=None)

    def see_icon(self, state, colour=None, unlike=None):
        """Looks at the icon that shows `state` in that colour and differs from the one that showed `unlike`."""
        def changed():
            icon = self.own_icon()
            is_old = unlike in self.icons and icon and icon.is_like(self.icons[unlike])
            return icon if icon and not is_old and (not colour or icon.has(colour)) else None
        wait_for(changed, f"the panel shows an icon for {state}", 30)
        time.sleep(1.5)  # some panels show a stand-in first
        icon = wait_for(changed, f"the panel keeps the icon for {state}", 3)
        self.icons[state] = icon
        self.save(f"crop {state}", icon.pixels)
        share = icon.size / max(self.neighbour.width, self.neighbour.height)
        assert 0.8 <= share <= 1.2, f"the icon is {icon.size} pixels large, {share:.0%} of its neighbour's"
        contrast = icon.readability()
        assert contrast >= 3, f"the icon has a contrast of {contrast:.2f} on the panel's ground, less than 3"
        return icon

    def first_launch(self):
        before = self.sight.picture()
        self.launch()
        with self.step("first launch"):
            self.wait_for_active(SETTINGS)
            wait_for(lambda: self.shows_window(before), "a window as large and as dark as the desktop is seen", 30)
        if self.neighbour:
            with self.step("icon idle"):
                self.see_icon("idle")
        else:
            with self.step("no panel"):
                self.expect_notification("panel", before)
        self.quit()

    def shows_window(self, before):
        picture = self.sight.picture()
        boxes = patches(differs(before, picture))
        is_dark = bool(boxes) and numpy.median(boxes[0].of(picture)) < 128
        return bool(boxes) and boxes[0].height > 350 * self.shell.scale and is_dark == self.shell.has_dark_windows

    def open_menu(self, *labels):
        """Opens the menu by a click on the icon and reads it until it shows these labels: a window may go meanwhile."""
        self.park_pointer()
        icon = wait_for(self.own_icon, "the panel shows the icon", 30)
        before = self.sight.still_picture(3)
        self.sight.press(*icon.box.centre)

        def menu():
            picture = self.sight.still_picture(3)
            self.save(f"open menu {'running' if self.program.children() else 'stopped'}", picture)
            found = [box for box in patches(differs(before, picture)) if min(box.width, box.height) > 60 * self.shell.scale]
            # A strip of the ground around a menu may spoil what is read.
            lines = [line for box in found for part in (box.shrunk(8), box) for line in read(picture, part)]
            self.menu_texts = " | ".join(line.text for line in lines)
            return lines if all(any(line.says(label) for line in lines) for label in labels) else None
        return wait_for(menu, lambda: f"a click on the icon opens a menu with {labels}: {self.menu_texts}", 20)

    def press_entry(self, lines, label):
        self.sight.press(*next(line for line in lines if line.says(label)).box.centre)

    def choose(self, label):
        self.press_entry(self.open_menu(label), label)

    def menu(self):
        """The menu by clicks: read, one of two tunnels started and stopped."""
        records = [tunnel(FIRST), tunnel(SECOND, "www.example.test")]
        for record in records:
            self.shell.store_token(record["id"], "eyJwalk.scenario.connected")
        self.launch(records)
        with self.step("menu"):
            self.press_entry(self.open_menu(FIRST, SECOND, "Start All", "Log", "Settings", "Quit"), FIRST)
        with self.step("start by the menu"):
            self.program.wait_for_children(1)
        with self.step("stop by the menu"):
            assert self.program.children(), "no tunnel runs"
            self.choose(FIRST)
            self.program.wait_for_children(0)

    def other_window(self):
        """Another program's window in front, which has the keyboard."""
        self.other = self.start_neighbour("window")
        wait_for(lambda: self.other_pixels() > self.shell.width * self.shell.height / 5, "another window is in front", 30)
        self.whole_other = self.other_pixels()

    def other_pixels(self):
        return int(has_colour(self.sight.still_picture(3), OTHER_WINDOW).sum())

    def raise_other_window(self):
        """Clicks at the free part of the other window."""
        mask = has_colour(self.sight.picture(), OTHER_WINDOW)
        rows, columns = numpy.nonzero(mask)
        part = len(rows) - 40 * self.shell.scale * self.shell.width // 4
        self.sight.press(int(columns[part]), int(rows[part]))
        wait_for(lambda: not self.active_window(), lambda: f"another window has the keyboard, not {self.active_window()}", 20)
        wait_for(lambda: self.other_pixels() > 0.95 * self.whole_other, "another window is in front again", 20)

    def windows(self):
        with self.step("windows"):
            self.other_window()
            for label, title in 2 * (("Log", LOGS), ("Settings", SETTINGS)):
                seen = self.other_pixels()
                self.choose(label)
                self.wait_for_active(title)
                wait_for(lambda: self.other_pixels() < seen - 10_000, f"{title} is in front of another window", 20)
                self.save(f"window {label}", self.sight.picture())
                self.raise_other_window()
        with self.step("keyboard"):
            self.choose("Log")
            self.wait_for_active(LOGS)
            time.sleep(1)
            self.sight.key("ctrl+w")
            wait_for(lambda: not self.shows(LOGS), f"Ctrl+W closes {LOGS}", 20)
        self.other.terminate()

    def quit_by_menu(self):
        with self.step("quit"):
            self.choose("Quit")
            status = self.program.process.wait(10)
            assert status == 0, f"it ended with {status}"
            self.expect_no_children(1)
        self.quit()

    def expect_no_children(self, seconds=10):
        def left():
            return [pid for pid, path in processes().items() if path == str(self.cloudflared)]
        wait_for(lambda: not left(), lambda: f"no child is left, there are {len(left())}", seconds)

    def expect_notification(self, word, before):
        def shown():
            picture = self.sight.picture()
            return any(line.says(word) for box in patches(differs(before, picture)) if box.height > 40
                       for line in read(picture, box))
        wait_for(shown, f"a notification that says {word} is on the screen", 30)

    def notification(self):
        """A tunnel that fails at launch: the notification is on the screen, the icon says so."""
        record = tunnel(REFUSED, start=True)
        self.shell.store_token(record["id"], "eyJwalk.scenario.refused")
        before = self.sight.still_picture(3)
        self.launch([record])
        with self.step("notification"):
            self.expect_notification(REFUSED, before)
        if self.neighbour:
            with self.step("icon problem"):
                self.see_icon("problem", PROBLEM)
        self.quit()

    def counts(self):
        """The icon while so many tunnels are connected, the last time until the display ends."""
        records = [tunnel(f"Tunnel {number}") for number in range(max(COUNTS))]
        for record in records:
            self.shell.store_token(record["id"], "eyJwalk.scenario.connected")
        previous = None
        for count in COUNTS if self.neighbour else COUNTS[:1]:
            for number, record in enumerate(records):
                record["startOnLaunch"] = number < count
            self.quit()
            self.launch(records)
            state = f"{count} connected"
            with self.step(f"icon {state}" if self.neighbour else state):
                self.program.wait_for_children(count)
                self.wait_for_connected(count)
                if self.neighbour:
                    icon, previous = self.see_icon(state, CONNECTED, previous), state
                    assert count < 2 or icon.sharpness() > 180, f"the count is blurred: {icon.sharpness():.0f} of 255"

    def wait_for_connected(self, count):
        wait_for(lambda: f" {count}/" in self.menu_title(), lambda: f"{count} are connected: {self.menu_title()}", 30)

    def menu_title(self):
        """The first line of the menu on the bus; empty as long as there is none."""
        try:
            return Bus(self.shell).labels()[0]
        except GLib.Error:
            return ""

    def display_ends(self):
        with self.step("display ends"):
            children = self.program.children()
            assert children, "no tunnel runs"
            self.shell.end_display()
            self.program.process.wait(15)
            self.expect_no_children()


def walk(shell, name, kind, arguments):
    """The whole walk; of the enlarged desktop only what a scale can spoil."""
    here = Walk(shell, *arguments, limit=lambda step: reason(name, kind, step))
    here.first_launch()
    if shell.desktop.neighbour:
        here.menu()
        if kind != "large":
            here.windows()
            here.quit_by_menu()
        here.quit()
    here.notification()
    here.counts()
    here.display_ends()
    return here.outcomes


def main():
    program, cloudflared, folder = map(Path, sys.argv[1:4])
    name, kind = sys.argv[4:]
    is_dark, scale = KINDS[kind]
    if scale > 1 and not DESKTOPS[name].scales:
        return
    folder.mkdir(parents=True, exist_ok=True)
    outcomes = {}
    try:
        with Shell(DESKTOPS[name], is_dark, scale) as shell:
            outcomes = walk(shell, name, kind, (program, cloudflared, folder))
    except FAILURES as error:
        outcomes["desktop"] = str(error)
        print(f"    desktop: FAILED: {error}")
    (folder / "outcomes.json").write_text(json.dumps(outcomes, indent=1))
    sys.exit(any(failure and not reason(name, kind, step) for step, failure in outcomes.items()))


if __name__ == "__main__":
    main()
