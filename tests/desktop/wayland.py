#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""The whole program on a Wayland compositor, whose panel hands over no activation token."""

import json
import os
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

from gi.repository import GLib

from accessibility import BUTTON, Accessibility, find, take_keyboard_to
from desktop_reader import Bus, StatusItem
from session import Program, Session, processes, tunnel, wait_for

PROGRAM = Path(os.environ["MORVANEL_PROGRAM"])
CLOUDFLARED = Path(os.environ["MORVANEL_CLOUDFLARED"])
SETTINGS = "Morvanel Settings"
LOGS = "Tunnel Logs"


class Wayland(unittest.TestCase):
    def setUp(self):
        self.session = Session()
        self.addCleanup(self.session.close)
        self.compositor = self.start_compositor()
        panel = self.session.home / "waybar.json"
        panel.write_text(json.dumps({"modules-right": ["tray"]}))
        self.session.spawn("waybar", "-c", str(panel), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for(lambda: self.session.owner("org.kde.StatusNotifierWatcher"), "the panel takes status items")

    def start_compositor(self):
        """One without a screen or a keyboard. As the superuser it does not start, so another one runs it then."""
        runtime = self.session.home / "compositor"
        runtime.mkdir(mode=0o700)
        configuration = runtime / "configuration"
        configuration.write_text("output * resolution 1280x900\nxwayland disable\nworkspace_layout tabbed\n")
        user = {}
        if os.geteuid() == 0:
            user = {"user": "nobody", "group": "nogroup", "extra_groups": []}
            shutil.chown(runtime, "nobody")
            self.session.home.chmod(0o711)
        headless = {"XDG_RUNTIME_DIR": str(runtime), "WLR_BACKENDS": "headless", "WLR_LIBINPUT_NO_DEVICES": "1",
                    "WLR_RENDERER": "pixman"}
        compositor = self.session.spawn("sway", "-c", str(configuration), environment=headless,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **user)
        def socket(pattern):
            return str(wait_for(lambda: next(filter(Path.is_socket, runtime.glob(pattern)), None), f"{pattern} is there"))
        self.session.environment |= {"XDG_SESSION_TYPE": "wayland", "WAYLAND_DISPLAY": socket("wayland-*"),
                                     "SWAYSOCK": socket("sway-ipc.*")}
        return compositor

    def focused(self, node=None):
        """The title of the window that is in front and has the keyboard; None for none."""
        node = node or json.loads(self.session.run("swaymsg", "-t", "get_tree"))
        if node["focused"]:
            return node["name"]
        return next(filter(None, map(self.focused, node["nodes"] + node["floating_nodes"])), None)

    def wait_for_window(self, title):
        wait_for(lambda: self.focused() == title, lambda: f"{title} is in front, not {self.focused()}")

    def space_bar_copies(self):
        """The keyboard is there for the moment only, so a window may miss its key."""
        self.session.run("wtype", "-s", "100", " ", "-s", "100")
        return "Starting: " in self.session.run("wl-paste", check=False)

    def test_both_windows_and_the_end_of_the_compositor(self):
        self.session.configure([tunnel("slow-stop", start=True)], CLOUDFLARED, lambda t: "eyJsecret.scenario.slow-stop")
        self.session.environment["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        accessibility = Accessibility(self.session.environment)
        too_long = 5000 * "t"  # for a message of the compositor's protocol, and so for the program
        program = Program(self.session, PROGRAM, {"XDG_ACTIVATION_TOKEN": too_long, "WAYLAND_DEBUG": "client"})
        item = StatusItem(Bus(self.session))
        item.bus.action("settings", {"activation-token": GLib.Variant("s", too_long)})
        self.wait_for_window(SETTINGS)
        child, = program.wait_for_children(1)
        self.session.run("env", "XDG_ACTIVATION_TOKEN=handed-on", str(PROGRAM))
        wait_for(lambda: 'activate("handed-on"' in program.errors(), "a second start hands its token to the compositor")
        for entry, title in 2 * (("Settings…", SETTINGS), ("Log…", LOGS)):
            with self.subTest(entry):
                item.click(entry)
                self.wait_for_window(title)

        copy = wait_for(lambda: find(accessibility.windows(program.pid)[LOGS], BUTTON, "Copy"), "the button is shown")
        take_keyboard_to(copy)
        wait_for(self.space_bar_copies, "the log is copied")

        self.compositor.kill()
        program.process.wait(10)
        wait_for(lambda: child not in processes(), "the child has ended with the program")


if __name__ == "__main__":
    unittest.main(verbosity=2, argv=[sys.argv[0], *sys.argv[1:]])
