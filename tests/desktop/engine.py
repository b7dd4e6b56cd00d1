#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""The whole program over a real bus, keyring and children, without a display."""

import os
import re
import signal
import subprocess
import sys
import unittest
from pathlib import Path

from gi.repository import GLib

from desktop_reader import Bus
from session import Program, Session, processes, tunnel, wait_for

PROGRAM = Path(os.environ["MORVANEL_PROGRAM"])
CLOUDFLARED = Path(os.environ["MORVANEL_CLOUDFLARED"])


def ignores(pid, number):
    """Whether the process ignores that signal."""
    mask = re.search(r"SigIgn:\s+(\w+)", Path(f"/proc/{pid}/status").read_text())[1]
    return bool(int(mask, 16) >> (number - 1) & 1)


def says(bus, text):
    """Whether the program's menu has the text, once there is a menu."""
    try:
        return any(text in label for label in bus.labels())
    except GLib.Error:
        return False


class Engine(unittest.TestCase):
    def setUp(self):
        self.session = Session()
        self.addCleanup(self.session.close)

    def configure(self, *scenarios, **others):
        """One launch tunnel for each scenario, its token in the keyring."""
        self.tunnels = [tunnel(name, start=True) for name in scenarios]
        self.session.configure(self.tunnels, CLOUDFLARED, lambda t: f"eyJsecret.scenario.{t['name']}", **others)

    def launch(self, **environment):
        return Program(self.session, PROGRAM, environment)

    def ledger(self):
        return self.session.read_preferences().get("childPIDs")

    def test_launch_tunnels_run_with_exactly_their_environment(self):
        self.configure("connected", "reconnecting", "starting", colour="kept")
        program = self.launch(TUNNEL_TOKEN="inherited", NO_COLOR="0", OTHER="kept")
        children = program.wait_for_children(3)
        wait_for(lambda: sorted(self.ledger() or []) == sorted(children), "the ledger lists the children")
        tokens = set()
        for child in children:
            entries = Path(f"/proc/{child}/environ").read_bytes().split(b"\0")
            variables = dict(os.fsdecode(entry).split("=", 1) for entry in entries if entry)
            tokens.add(variables.pop("TUNNEL_TOKEN"))
            expected = self.session.environment | {
                "OTHER": "kept", "NO_AUTOUPDATE": "true", "TUNNEL_GRACE_PERIOD": "2s", "NO_COLOR": "1"}
            self.assertEqual(variables, expected)
            self.assertEqual(Path(f"/proc/{child}/cmdline").read_text().split("\0")[:-1], [str(CLOUDFLARED), "tunnel", "run"])
            self.assertEqual(os.getpgid(child), child)
        self.assertEqual(tokens, {f"eyJsecret.scenario.{t['name']}" for t in self.tunnels})

        status, seconds = program.quit()
        self.assertEqual(status, 0)
        self.assertLess(seconds, 4.2)
        self.assertEqual(self.ledger(), [])
        self.assertEqual(self.session.read_preferences()["colour"], "kept")
        self.assertNotIn("eyJsecret", program.errors() + self.session.preferences.read_text())
        self.assertEqual([c for c in children if c in processes()], [])

    def test_each_signal_takes_the_quit_road(self):
        self.configure("connected")
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(number):
                program = self.launch()
                program.wait_for_children(1)
                status, seconds = program.quit(number)
                self.assertEqual(status, 0)
                self.assertLess(seconds, 4)

    def test_a_child_that_does_not_end_is_killed_at_the_deadline(self):
        self.configure("ignores-term", "connected")
        program = self.launch()
        children = program.wait_for_children(2)
        wait_for(lambda: self.ledger() and len(self.ledger()) == 2, "the ledger lists both")
        wait_for(lambda: any(ignores(child, signal.SIGTERM) for child in children), "one is deaf")
        status, seconds = program.quit()
        self.assertEqual(status, 0)
        self.assertGreater(seconds, 3.9)
        self.assertLess(seconds, 6)
        wait_for(lambda: not set(children) & set(processes()), "both are gone")

    def test_orphans_of_a_killed_run_and_keeper_are_ended_by_the_next(self):
        self.configure("connected", "starting")
        for record in self.tunnels:
            self.session.store_token(record["id"], "eyJplain")  # one that plays MORVANEL_SCRIPT
        silent = {"MORVANEL_SCRIPT": "wait"}  # a child that writes dies when its output is not read any more
        first = self.launch(**silent)
        orphans = first.wait_for_children(2)
        wait_for(lambda: sorted(self.ledger() or []) == sorted(orphans), "the ledger lists the orphans")
        os.kill(first.keeper(), signal.SIGKILL)
        first.process.kill()
        first.process.wait()
        self.assertTrue(set(orphans) <= set(processes()), "they ran on")

        second = self.launch(**silent)
        wait_for(lambda: not set(orphans) & set(processes()), "the orphans are gone")
        second.wait_for_children(2)
        bus = Bus(self.session)
        bus.action("stop-all")
        wait_for(lambda: not self.ledger(), "the program has seen both end")
        bus.action("start-all")
        second.wait_for_children(2)
        self.assertEqual(second.quit()[0], 0)

    def test_a_keyring_that_takes_its_time_holds_up_nothing(self):
        self.configure("connected")
        self.session.lock_keyring()
        keyring = self.session.started[-1]
        for number, text in ((signal.SIGCONT, "Missing token"), (signal.SIGSTOP, "Connecting")):
            with self.subTest(text):
                keyring.send_signal(number)
                program, bus = self.launch(), Bus(self.session)
                wait_for(lambda: says(bus, text), "the menu says so")
                self.assertEqual(program.children(), [])
                self.assertNotIn("eyJ", program.errors())
                status, seconds = program.quit()
                self.assertEqual(status, 0)
                self.assertLess(seconds, 4.2)
        keyring.send_signal(signal.SIGCONT)

    def test_the_program_outlives_its_bus(self):
        self.configure("connected")
        program = self.launch()
        child, = program.wait_for_children(1)
        wait_for(lambda: self.ledger() == [child], "the program is at rest")
        bus = self.session.started[0]
        bus.kill()
        bus.wait()
        os.kill(child, signal.SIGKILL)
        wait_for(lambda: self.ledger() == [], "the program still sees to its children")
        self.assertIsNone(program.process.poll())
        self.assertEqual(program.quit()[0], 0)

    def test_what_a_launcher_left_behind_does_no_harm(self):
        """Closed standard streams, a blocked SIGTERM and an ignored SIGCHLD; an ignored SIGHUP is meant, as by nohup."""
        self.configure("refused")
        launcher = self.session.home / "launcher"
        launcher.write_text("#!/usr/bin/python3\nimport os, signal\n"
                            "signal.signal(signal.SIGCHLD, signal.SIG_IGN)\n"
                            "signal.signal(signal.SIGHUP, signal.SIG_IGN)\n"
                            "signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])\n"
                            f"os.closerange(0, 2)\nos.execv({str(PROGRAM)!r}, ['morvanel'])\n")
        launcher.chmod(0o755)
        program = Program(self.session, launcher)
        wait_for(lambda: self.ledger() == [], "the refused tunnel has ended")
        streams = {os.readlink(f"/proc/{program.pid}/fd/{number}") for number in (0, 1)}
        self.assertEqual(streams, {"/dev/null"})
        self.assertTrue(ignores(program.pid, signal.SIGHUP))
        self.assertIn("Max core file size        0 ", Path(f"/proc/{program.pid}/limits").read_text())
        self.assertEqual(program.quit()[0], 0)

    def test_children_end_with_the_program_whatever_ended_it(self):
        self.configure("unused", showsInDock=False)
        server = self.session.spawn("Xvfb", "-displayfd", "1", "-noreset", stdout=subprocess.PIPE,
                                    stderr=subprocess.DEVNULL)
        display = ":" + server.stdout.readline().decode().strip()
        self.session.store_token(self.tunnels[0]["id"], "eyJplain")  # one that plays MORVANEL_SCRIPT
        for what, end in (("kill -9", lambda program: program.process.kill()),
                          ("a crash", lambda program: program.process.send_signal(signal.SIGSEGV)),
                          ("the end of the display", lambda _: server.kill())):
            with self.subTest(what):
                goodbye = self.session.home / what
                program = self.launch(DISPLAY=display, MORVANEL_SCRIPT="\n".join([
                    "mark", "print INF Still here", "pause 10", "loop", "on-term", "blast 2000 100",
                    f"report {goodbye}"]))
                child, = program.wait_for_children(1)
                keeper = program.keeper()
                wait_for(lambda: self.ledger() == [child], "the program is at rest")
                end(program)
                program.process.wait(5)
                wait_for(lambda: child not in processes(), "the child is gone")
                self.assertTrue(goodbye.exists(), "the child came to its last words")
                wait_for(lambda: keeper not in processes(), "the keeper is gone")


if __name__ == "__main__":
    unittest.main(verbosity=2, argv=[sys.argv[0], *sys.argv[1:]])
