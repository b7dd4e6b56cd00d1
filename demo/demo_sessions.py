# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Where the demonstration runs besides a light virtual desktop: in a dark one, and on the user's own display."""

import os
import shutil
from pathlib import Path

from session import SERVICE, Session

DARK = Path(__file__).resolve().parent / "dark"  # what differs from the settings of the light desktop


class DarkSession(Session):
    ground = "#202833"
    is_panel_dark = True

    def _write_settings(self):
        super()._write_settings()
        shutil.copytree(DARK, self.home, dirs_exist_ok=True)
        # Qt's own reader of Plasma's colours
        self.environment |= {"QT_QPA_PLATFORMTHEME": "kde", "KDE_SESSION_VERSION": "5"}


class BorrowedDisplay(Session):
    """A throw-away profile on the user's own display.

    Where the user's bus has a panel that takes status items, bus and keyring are the user's too, since the panel
    looks for items there; else they are private ones.
    """

    TAKEN = ("DISPLAY", "XDG_SESSION_TYPE", "XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION",
             "KDE_SESSION_VERSION", "QT_QPA_PLATFORM", "QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE", "QT_SCALE_FACTOR",
             "GTK_THEME", "XCURSOR_THEME", "XCURSOR_SIZE")

    def __init__(self):
        self.stored = []
        super().__init__()
        home, runtime = Path.home(), os.environ.get("XDG_RUNTIME_DIR", f"/run/user/{os.getuid()}")
        self.environment |= {name: os.environ[name] for name in self.TAKEN if os.environ.get(name)}
        self.environment |= {
            "XAUTHORITY": os.environ.get("XAUTHORITY", str(home / ".Xauthority")),
            "XDG_CONFIG_DIRS": f"{home}/.config:" + os.environ.get("XDG_CONFIG_DIRS", "/etc/xdg"),
            "XDG_DATA_DIRS": f"{home}/.local/share:" + os.environ.get("XDG_DATA_DIRS", "/usr/local/share:/usr/share"),
        }
        if os.environ.get("WAYLAND_DISPLAY"):
            self.environment["WAYLAND_DISPLAY"] = str(Path(runtime) / os.environ["WAYLAND_DISPLAY"])

    def _start_bus(self):
        own = os.environ.get("DBUS_SESSION_BUS_ADDRESS")
        self.is_bus_private = True
        if own:
            self.environment["DBUS_SESSION_BUS_ADDRESS"] = own
            self.is_bus_private = not self.owner("org.kde.StatusNotifierWatcher")
        if self.is_bus_private:
            super()._start_bus()

    def start_keyring(self):
        if self.is_bus_private:
            super().start_keyring()

    def store_token(self, tunnel_id, token):
        self.stored.append(tunnel_id)
        super().store_token(tunnel_id, token)

    def forget_tokens(self):
        """Takes the tokens out of the keyring again, which may be the user's."""
        for tunnel_id in self.stored:
            self.run("secret-tool", "clear", "service", SERVICE, "account", tunnel_id, check=False)
