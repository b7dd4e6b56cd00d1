# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What a desktop and its user see of Morvanel, and how they answer.

Each class looks from outside the program: `StatusItem` over the session bus as a panel does, `Screen` at the windows
and the pixels, with keyboard and mouse. What a screen reader gets is in accessibility.py.
"""

import os
import re
import subprocess

from gi.repository import Gio, GLib

from session import wait_for

NAME = "com.ardentwick.Morvanel"
WATCHER = "org.kde.StatusNotifierWatcher"


class Bus:
    """The session's bus, whichever bus this process was started on."""

    def __init__(self, session):
        self.session = session
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        self.connection = Gio.DBusConnection.new_for_address_sync(
            session.environment["DBUS_SESSION_BUS_ADDRESS"], flags, None, None)
        self.connection.set_exit_on_close(False)

    def call(self, owner, path, interface, method, arguments=None):
        """What `owner` answers, unpacked."""
        return self.connection.call_sync(owner, path, interface, method, arguments, None,
                                         Gio.DBusCallFlags.NO_AUTO_START, 15_000, None).unpack()

    def owner_process(self, name):
        """The id of the process that owns `name`; None for nobody."""
        try:
            return self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                             "GetConnectionUnixProcessID", GLib.Variant("(s)", (name,)))[0]
        except GLib.Error:
            return None

    def action(self, name, platform_data=None):
        """Asks the program for one of the actions that launchers offer."""
        self.call(NAME, "/com/ardentwick/Morvanel", "org.freedesktop.Application", "ActivateAction",
                  GLib.Variant("(sava{sv})", (name, [], platform_data or {})))

    def menu(self, path="/MenuBar"):
        """The entries of the program's menu as they are now."""
        arguments = GLib.Variant("(iias)", (0, -1, []))
        layout = self.call(NAME, path, "com.canonical.dbusmenu", "GetLayout", arguments)[1]
        return MenuEntry(layout).children

    def labels(self, path="/MenuBar"):
        """The labels of the menu, with "-" for a separator."""
        return ["-" if entry.is_separator else entry.label for entry in self.menu(path)]

    def registered_items(self):
        """The status items of which the panel knows, as owner and path in one; none without a panel."""
        try:
            return self.call(WATCHER, "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties", "Get",
                             GLib.Variant("(ss)", (WATCHER, "RegisteredStatusNotifierItems")))[0]
        except GLib.Error:
            return []


class MenuEntry:
    def __init__(self, layout):
        self.id, self.properties, children = layout
        self.children = [MenuEntry(child) for child in children]
        self.label = self.properties.get("label", "").replace("__", "_")
        self.is_separator = self.properties.get("type") == "separator"


class StatusItem:
    """The item that the program has registered with the panel."""

    def __init__(self, bus):
        self.bus = bus
        self.owner = wait_for(lambda: bus.session.owner(NAME), "the program is on the bus")
        item = wait_for(lambda: next((i for i in bus.registered_items() if i.startswith(self.owner)), None),
                        "the panel has the item")
        self.path = item[len(self.owner):]

    def get(self, name):
        return self.bus.call(self.owner, self.path, "org.freedesktop.DBus.Properties", "Get",
                             GLib.Variant("(ss)", ("org.kde.StatusNotifierItem", name)))[0]

    @property
    def icon(self):
        """The icon's name without folder and ending."""
        return os.path.splitext(os.path.basename(self.get("IconName")))[0]

    @property
    def tooltip(self):
        return self.get("ToolTip")[2]

    def labels(self):
        return self.bus.labels(self.get("Menu"))

    def click(self, label):
        """Chooses the entry whose label begins so."""
        entry = next(entry for entry in self.bus.menu(self.get("Menu")) if entry.label.startswith(label))
        self.bus.call(self.owner, self.get("Menu"), "com.canonical.dbusmenu", "Event",
                      GLib.Variant("(isvu)", (entry.id, "clicked", GLib.Variant("s", ""), 0)))


class Screen:
    """The display of a session: its windows, its pixels, its keyboard and its mouse."""

    def __init__(self, session):
        self.session = session

    def windows(self):
        """The window ids of all managed windows by their title."""
        found = {}
        for window in self.session.run("xprop", "-root", "_NET_CLIENT_LIST").rpartition("#")[2].split(","):
            if window.strip().startswith("0x"):
                title = self.session.run("xprop", "-id", window.strip(), "_NET_WM_NAME", check=False)
                found[title.partition('= "')[2].rstrip().rstrip('"')] = window.strip()
        return found

    def wait_for_window(self, title):
        """The id of the window of that title, once it has the keyboard."""
        window = wait_for(lambda: self.windows().get(title), f"the window {title} is there")
        wait_for(lambda: int(self.session.run("xdotool", "getactivewindow", check=False) or 0) == int(window, 16),
                 f"the window {title} is active")
        return window

    def key(self, *keys):
        self.session.run("xdotool", "key", *keys)

    def type(self, text):
        self.session.run("xdotool", "type", "--delay", "2", text)

    def find(self, colour, geometry):
        """The point in the part "WxH+X+Y" that has about this colour, (r, g, b); None for nowhere."""
        width, height, left, top = (int(n) for n in re.split(r"[x+]", geometry))
        result = subprocess.run(["import", "-window", "root", "-crop", geometry, "-depth", "8", "rgb:-"],
                                env=self.session.environment, stdout=subprocess.PIPE, check=True)
        pixels = result.stdout
        for i in range(0, min(len(pixels), width * height * 3), 3):
            if all(abs(pixels[i + c] - colour[c]) < 12 for c in range(3)):
                return left + i // 3 % width, top + i // 3 // width
        return None

    def click(self, colour, geometry):
        """Clicks at the first point that has the colour, once it stays in place."""
        seen = [None]

        def rests():
            seen.append(self.find(colour, geometry))
            return seen[-1] and seen[-1] == seen[-2]
        wait_for(rests, f"something of the colour {colour} is in {geometry}")
        self.session.run("xdotool", "mousemove", *map(str, seen[-1]), "click", "1")
