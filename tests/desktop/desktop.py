#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""The whole program on a desktop with a window manager and a panel, used by keyboard and read as others read it."""

import os
import signal
import subprocess
import sys
import unittest
from pathlib import Path

from accessibility import BUTTON, Accessibility, find, has_state, label_of, showing, offers_text, text_of
from desktop_reader import WATCHER, Bus, Screen, StatusItem
from session import PANEL_HEIGHT, Program, Session, tunnel, wait_for

PROGRAM = Path(os.environ["MORVANEL_PROGRAM"])
CLOUDFLARED = Path(os.environ["MORVANEL_CLOUDFLARED"])
SETTINGS = "Morvanel Settings"
LOGS = "Tunnel Logs"
SECRET = "eyJsecret.scenario.connected"
GREEN, RED = (0x1A, 0x7F, 0x37), (0xC9, 0x30, 0x2C)  # of the status icons
DOT_GREEN = (0x23, 0x9A, 0x47)
WHITE = (0xFF, 0xFF, 0xFF)  # the ground of the program's own menu


class Desktop(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.session = Session(display="1280x900")
        cls.addClassCleanup(cls.session.close)
        cls.session.environment["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        cls.session.environment["QT_LOGGING_RULES"] = "qt.accessibility.atspi=false"  # Qt 6.8 tells of what is read too late
        browser = cls.session.home / "xdg-open"
        browser.write_text('#!/bin/sh\necho "$1" >"$HOME/opened"\n')
        browser.chmod(0o755)
        cls.session.environment["PATH"] = f"{cls.session.home}:{cls.session.environment['PATH']}"
        cls.panel = cls.session.start_panel()
        cls.bus = Bus(cls.session)
        cls.screen = Screen(cls.session)
        cls.accessibility = Accessibility(cls.session.environment)

    def setUp(self):
        self.session.preferences.unlink(missing_ok=True)
        self.program = None
        self.addCleanup(lambda: self.program and self.program.quit())

    def launch(self, **environment):
        self.program = Program(self.session, PROGRAM, {"MORVANEL_SPEED": "10"} | environment)
        self.item = StatusItem(self.bus)

    def window(self, title):
        return self.accessibility.windows(self.program.pid)[title]

    def object(self, role, name, window=SETTINGS):
        return wait_for(lambda: find(self.window(window), role, name), f"{role} {name} is shown")

    def tab_to(self, role, name, window=SETTINGS):
        """Moves the keyboard on with the Tab key, at most once around the window."""
        target = self.object(role, name, window)
        for _ in range(20):
            if has_state(target, "focused"):
                return target
            before = self.focus(window)
            self.screen.key("Tab")
            wait_for(lambda: self.focus(window) not in (None, before), f"Tab leads on from {before}")
        self.fail(f"no Tab leads to {role} {name}")

    def press(self, role, name, window=SETTINGS):
        """What the space bar does once the keyboard is there."""
        self.tab_to(role, name, window)
        self.screen.key("space")

    def focus(self, window):
        """Role and name of what has the keyboard. What holds it counts as focused too, and so does a row."""
        return next(((o.get_role_name(), o.get_name()) for o in showing(self.window(window))
                     if has_state(o, "focused") and o.get_role_name() not in ("page tab", "list item", "filler")), None)

    def wait_for_rows(self, *expected):
        """The list of tunnels shows these names and states."""
        def rows():
            items = (o for o in showing(self.object("list", "Tunnels")) if o.get_role_name() == "list item")
            return [(item.get_name(), item.get_description()) for item in items]
        wait_for(lambda: rows() == list(expected), lambda: f"the list shows {expected}, not {rows()}")

    def wait_for_everywhere(self, icon, tooltip, entry, state, colour):
        """One and the same state in the panel, in the menu and in the list of tunnels."""
        wait_for(lambda: self.item.icon == icon, lambda: f"the icon is {icon}, not {self.item.icon}")
        self.assertEqual(self.item.tooltip, tooltip)
        wait_for(lambda: any(label.startswith(entry) for label in self.item.labels()),
                 lambda: f"the menu says {entry!r}: {self.item.labels()}")
        row = self.object("list item", "Home_Server & Co")
        wait_for(lambda: row.get_description() == state,
                 lambda: f"the row says {state!r}, not {row.get_description()!r}")
        wait_for(lambda: self.screen.find(colour, f"1280x{PANEL_HEIGHT}+0+0"), "the panel shows the icon")

    def wait_for_log(self, *parts):
        """The Logs window's text holds these, in this order."""
        def holds():
            text = text_of(self.object("text", "Log", LOGS))
            for part in parts:
                if part not in text:
                    return False
                text = text.partition(part)[2]
            return True
        wait_for(holds, f"the log says {parts}")

    def test_an_old_tray_gives_way_to_a_panel(self):
        """Their icons and menus, as they are drawn and clicked."""
        tray, panel, between = "1280x40+0+860", f"1280x{PANEL_HEIGHT}+0+0", "1280x800+0+50"
        self.panel.terminate()
        self.panel.wait()
        wait_for(lambda: not self.session.owner(WATCHER), "the panel is gone")
        old = self.session.spawn("trayer", "--edge", "bottom", "--height", "32", stderr=subprocess.DEVNULL)
        self.session.configure([tunnel("launched", start=True)], CLOUDFLARED, lambda _: SECRET, showsInDock=False)
        self.program = Program(self.session, PROGRAM, {"MORVANEL_SPEED": "10"})
        self.screen.click(GREEN, tray)
        wait_for(lambda: self.screen.find(WHITE, between), "the menu is open")
        self.screen.key("Escape")
        wait_for(lambda: not self.screen.find(WHITE, between), "the menu is closed")

        type(self).panel = self.session.start_panel()
        self.screen.click(GREEN, panel)
        self.screen.click(DOT_GREEN, between)  # the tunnel's dot
        wait_for(lambda: not self.program.children(), "the tunnel is stopped")
        wait_for(lambda: not self.screen.find(GREEN, tray), "the tray shows the icon no more")
        old.terminate()
        old.wait()

    def test_first_minutes_and_the_next_log_in(self):
        self.launch()
        self.first_launch_leads_to_the_form()
        self.the_path_is_typed()
        self.a_tunnel_is_added()
        child = self.it_starts_and_connects()
        self.its_end_is_shown(child)
        self.the_menu_starts_it_again()
        self.the_dock_preference_is_switched()
        self.ctrl_q_quits()
        self.launch_tunnels_start()
        self.a_second_start_and_actions_show_windows()

    def first_launch_leads_to_the_form(self):
        self.screen.wait_for_window(SETTINGS)
        self.assertEqual(self.item.labels()[:4], ["Morvanel", "-", "No tunnels configured", "Add Tunnel…"])
        self.assertEqual(self.item.icon, "morvanel-idle-symbolic")
        self.object("label", "New Tunnel")
        self.assertFalse(has_state(self.object(BUTTON, "Add"), "enabled"))

    def the_path_is_typed(self):
        self.assertIn("⚠︎ cloudflared not found", self.item.labels())
        self.screen.key("ctrl+Tab")
        self.object("label", "cloudflared not found. Install it with `brew install cloudflared`.")
        self.tab_to("text", "cloudflared path")
        self.screen.key("ctrl+a")
        self.screen.type(str(CLOUDFLARED))
        self.object("label", "cloudflared found")
        self.assertEqual(self.session.read_preferences()["cloudflaredPath"], str(CLOUDFLARED))
        self.screen.key("ctrl+Tab")

    def a_tunnel_is_added(self):
        self.tab_to("text", "Name")
        self.screen.type("Home_Server & Co")
        self.tab_to("text", "Hostname")
        self.screen.type("home.example.test")
        token = self.tab_to("password text", "Token")
        self.screen.type(f"cloudflared tunnel run --token {SECRET}")
        wait_for(lambda: has_state(self.object(BUTTON, "Add"), "enabled"), "the form is complete")
        self.assertFalse(offers_text(token))
        self.press("check box", "Start this tunnel when the app opens")
        self.screen.key("Return")
        row = self.object("list item", "Home_Server & Co")
        self.assertTrue(has_state(row, "selected"))
        self.assertEqual(row.get_description(), "Stopped")
        self.object(BUTTON, "Save")
        self.assertNotIn("eyJ", self.session.preferences.read_text())

    def it_starts_and_connects(self):
        self.press(BUTTON, "Start")
        child, = self.program.wait_for_children(1)
        self.wait_for_everywhere("morvanel-connected", "Morvanel: 1 of 1 tunnels connected",
                                 "Home_Server & Co\nConnected (4 connections)", "Connected (4 connections)", GREEN)
        self.object(BUTTON, "Stop")
        wait_for(lambda: self.accessibility.has_told("list item", "Connected (4 connections)"), "the row says its state")
        labels = self.item.labels()
        self.assertEqual(labels[0], "Morvanel · 1/1 connected")
        self.assertEqual(labels[3].strip(), "Open home.example.test")
        self.item.click(labels[3])
        opened = self.session.home / "opened"
        wait_for(lambda: opened.exists() and opened.read_text() == "https://home.example.test\n", "the browser is started")
        self.screen.key("ctrl+l")
        self.screen.wait_for_window(LOGS)
        self.object("label", "Connected (4 connections)", LOGS)
        self.assertEqual(label_of(self.object("combo box", "Home_Server & Co", LOGS)), "Tunnel")
        self.object(BUTTON, "Copy", LOGS)
        self.wait_for_log(f"▶︎ Starting: {CLOUDFLARED} tunnel run", "Registered tunnel connection")
        return child

    def its_end_is_shown(self, child):
        os.kill(child, signal.SIGKILL)
        message = "cloudflared exited (code 9)"
        self.wait_for_everywhere("morvanel-problem", "Morvanel: a tunnel has a problem",
                                 f"Home_Server & Co\nError · {message}",
                                 f"Error: {message} Reason: cloudflared was ended by SIGKILL", RED)
        self.object("label", f"Error: {message}", LOGS)
        self.wait_for_log("Registered tunnel connection", f"✖︎ {message}")
        self.object(BUTTON, "Start")

    def the_menu_starts_it_again(self):
        self.item.click("Home_Server & Co")
        self.program.wait_for_children(1)
        self.wait_for_log("✖︎ ", "▶︎ Starting", "Registered tunnel connection")

    def the_dock_preference_is_switched(self):
        self.screen.key("ctrl+w")
        self.screen.wait_for_window(SETTINGS)
        self.screen.key("ctrl+Tab")
        self.press("check box", "Show in the Dock and ⌘Tab")
        wait_for(lambda: not self.session.read_preferences().get("showsInDock", True), "the preference is kept")

    def ctrl_q_quits(self):
        self.screen.key("ctrl+q")
        self.assertEqual(self.program.process.wait(5), 0)
        wait_for(lambda: not self.bus.registered_items(), "the item has left the panel")
        self.assertEqual(self.session.read_preferences()["childPIDs"], [])
        self.assertNotIn("eyJ", self.program.errors())

    def listen_to_the_root_window(self):
        """A file with the events that a desktop gets there."""
        heard = self.session.home / "xev"
        with open(heard, "wb") as events:
            self.session.spawn("xev", "-root", "-event", "property", stdout=events)

        def hears():
            self.session.run("xprop", "-root", "-f", "_MORVANEL_TEST", "8s", "-set", "_MORVANEL_TEST", "here")
            return heard.stat().st_size
        wait_for(hears, "somebody listens")
        return heard

    def launch_tunnels_start(self):
        heard = self.listen_to_the_root_window()
        self.launch(DESKTOP_STARTUP_ID="test_TIME0")
        wait_for(lambda: "_NET_STARTUP_INFO_BEGIN" in heard.read_text(), "the launcher's wait is ended without a window")
        self.program.wait_for_children(1)
        wait_for(lambda: self.item.icon == "morvanel-connected", "the launch tunnel connects")
        self.assertEqual(self.screen.windows().keys() & {SETTINGS, LOGS}, set())

    def a_second_start_and_actions_show_windows(self):
        self.session.run(str(PROGRAM))
        self.screen.wait_for_window(SETTINGS)
        self.bus.action("logs")
        self.screen.wait_for_window(LOGS)
        self.bus.action("settings")
        self.screen.wait_for_window(SETTINGS)

    def test_tunnels_are_edited_and_preferences_switched_by_keyboard(self):
        tunnels = [tunnel("First", "one.example.test"), tunnel("Second")]
        self.session.configure(tunnels, CLOUDFLARED)
        self.session.store_token(tunnels[1]["id"], "eyJold.scenario.refused")
        self.launch()
        self.screen.wait_for_window(SETTINGS)
        self.a_tunnel_is_chosen_moved_and_edited()
        self.it_is_deleted()
        self.the_preferences_are_switched()
        self.assertEqual(self.program.errors(), "")

    def a_tunnel_is_chosen_moved_and_edited(self):
        wait_for(lambda: self.focus(SETTINGS) == ("list", "Tunnels"), "the list has the keyboard")
        self.screen.key("Down")
        self.object("label", "Second")
        self.screen.key("alt+Up")
        self.wait_for_rows(("Second", "Stopped"), ("First", "Stopped"))
        self.tab_to("text", "Name")
        self.screen.key("End")
        self.screen.type(" one")
        self.tab_to("password text", "Token")
        self.screen.type(SECRET)
        self.screen.key("Return")
        self.object("notification", "Saved")
        self.press(BUTTON, "Start")
        self.wait_for_rows(("Second one", "Connected (4 connections)"), ("First", "Stopped"))

    def it_is_deleted(self):
        self.press(BUTTON, "Delete the selected tunnel")
        self.wait_for_rows(("First", "Stopped"))
        wait_for(lambda: not self.program.children(), "its child has ended")

    def the_preferences_are_switched(self):
        login_item = self.session.home / ".config/autostart/com.ardentwick.Morvanel.desktop"
        self.screen.key("ctrl+Tab")
        self.press("check box", "Open Morvanel at login")
        wait_for(login_item.exists, "the program is opened at login")
        self.assertEqual(self.session.read_preferences()["cloudflaredPath"], str(CLOUDFLARED))


if __name__ == "__main__":
    unittest.main(verbosity=2, argv=[sys.argv[0], *sys.argv[1:]])
