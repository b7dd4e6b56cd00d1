# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What a panel and its user do: watching items, asking for actions, opening windows."""

import sys
import time
from pathlib import Path

from gi.repository import Gio, GLib

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "demo"))
from desktop_reader import NAME, WATCHER, Bus  # noqa: E402
from session import wait_for  # noqa: E402

WATCHER_XML = f"""<node><interface name="{WATCHER}">
  <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
</interface></node>"""


class Watcher(Bus):
    """A panel's side of the bus: notes the moment at which an item is registered."""

    PROPERTIES = {
        "IsStatusNotifierHostRegistered": GLib.Variant("b", True),
        "ProtocolVersion": GLib.Variant("i", 0),
        "RegisteredStatusNotifierItems": GLib.Variant("as", []),
    }

    def __init__(self, session):
        super().__init__(session)
        interface = Gio.DBusNodeInfo.new_for_xml(WATCHER_XML).interfaces[0]
        self.connection.register_object("/StatusNotifierWatcher", interface, self._called,
                                        lambda *arguments: self.PROPERTIES[arguments[4]], None)
        self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                  GLib.Variant("(su)", (WATCHER, 0)))
        self.registered = None

    def _called(self, _bus, _sender, _path, _interface, _method, _arguments, invocation):
        self.registered = time.monotonic()
        invocation.return_value(None)

    def time_until_registered(self, start):
        """Starts a program; returns it and the seconds until it announced its item."""
        self.registered = None
        begin = time.monotonic()
        program = start()
        while self.registered is None:
            if time.monotonic() > begin + 20:
                raise AssertionError("no item was registered")
            GLib.MainContext.default().iteration(True)
        return program, self.registered - begin

    def whole_menu(self):
        """The size of the program's menu in bytes and the seconds that it took to come."""
        begin = time.monotonic()
        layout = self.connection.call_sync(NAME, "/MenuBar", "com.canonical.dbusmenu", "GetLayout",
                                           GLib.Variant("(iias)", (0, -1, [])), None, Gio.DBusCallFlags.NONE, 5000, None)
        return layout.get_size(), time.monotonic() - begin

    def answer(self):
        """The seconds that the program's main thread takes to answer."""
        begin = time.monotonic()
        self.call(NAME, "/MenuBar", "org.freedesktop.DBus.Properties", "Get",
                  GLib.Variant("(ss)", ("com.canonical.dbusmenu", "Status")))
        return time.monotonic() - begin


def open_and_close(session, watcher, action, title):
    """Returns the seconds until the window is on the screen."""
    def windows():
        return session.run("xdotool", "search", "--onlyvisible", "--name", f"^{title}$", check=False).split()

    begin = time.monotonic()
    watcher.action(action)
    wait_for(windows, f"{title} is open")
    seconds = time.monotonic() - begin
    session.run("xdotool", "windowactivate", "--sync", windows()[0], "key", "ctrl+w")
    wait_for(lambda: not windows(), f"{title} is closed")
    return seconds
