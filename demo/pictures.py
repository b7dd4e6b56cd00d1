# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Pictures of what a virtual desktop shows."""

import re

from desktop_reader import Screen
from session import PANEL_HEIGHT, wait_for

SIZE = "1200x700"
PANEL = f"1200x{PANEL_HEIGHT}+0+0"
PROBLEM_RED = (0xC9, 0x30, 0x2C)  # of the icon
DOT_RED = (0xE5, 0x48, 0x4D)


class Pictures(Screen):
    """A screen whose windows are put in place, clicked at and saved as pictures in `folder`, with `kind` before names."""

    def __init__(self, session, folder, kind):
        super().__init__(session)
        self.folder = folder
        self.kind = kind

    def popups(self):
        """The geometry, "WxH+X+Y", of what is on the screen without the window manager, such as open menus."""
        tree = self.session.run("xwininfo", "-root", "-children")
        found = {}
        for window in re.findall(r"^ +(0x[0-9a-f]+)", tree, re.MULTILINE):
            text = self.session.run("xwininfo", "-id", window, check=False)
            if "IsViewable" in text and "Override Redirect State: yes" in text:
                width, height, x, y = self.geometry(window)
                if min(width, height) > 20:
                    found[window] = f"{width}x{height}+{x}+{y}"
        return found

    def geometry(self, window):
        """Width, height, x and y of a window without its frame."""
        text = self.session.run("xwininfo", "-id", window)
        numbers = dict(re.findall(r"(Width|Height|Absolute upper-left [XY]):\s+(-?\d+)", text))
        return [int(numbers[key]) for key in ("Width", "Height", "Absolute upper-left X", "Absolute upper-left Y")]

    def frame(self, window):
        """The geometry, "WxH+X+Y", of a window with its frame."""
        width, height, x, y = self.geometry(window)
        extents = self.session.run("xprop", "-id", window, "_NET_FRAME_EXTENTS").partition("=")[2]
        left, right, top, bottom = (int(n) for n in extents.split(","))
        return f"{width + left + right}x{height + top + bottom}+{x - left}+{y - top}"

    def move(self, window, x, y):
        """Puts a window's frame there."""
        # A window that has placed itself has static gravity: the coordinates are then those of its inside.
        extents = self.session.run("xprop", "-id", window, "_NET_FRAME_EXTENTS").partition("=")[2]
        left, _, top, _ = (int(n) for n in extents.split(","))
        self.session.run("xdotool", "windowmove", window, str(x + left), str(y + top))
        wait_for(lambda: self.frame(window).endswith(f"+{x}+{y}"), f"the window is at {x}, {y}")

    def save(self, name, geometry=""):
        """A picture of the screen, or of the part "WxH+X+Y"."""
        path = self.folder / f"{self.kind}-{name}.png"
        part = ["-crop", geometry, "+repage"] if geometry else []
        self.session.run("import", "-window", "root", *part, str(path))
        print(f"  {path}", flush=True)

    def window(self, name, title, x, y):
        """The window where it is put, with its frame."""
        window = self.wait_for_window(title)
        self.move(window, x, y)
        self.save(name, self.frame(window))

    def menu(self):
        """Opens the menu by a click on the icon; it is saved, and left open."""
        before = self.popups()
        self.click(PROBLEM_RED, PANEL)
        opened = wait_for(lambda: [g for w, g in self.popups().items() if w not in before], "the menu is open")
        wait_for(lambda: self.find(DOT_RED, opened[0]), "the menu shows its dots")
        self.save("menu", opened[0])
