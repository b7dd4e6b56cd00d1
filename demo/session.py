# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""A throw-away user's session, for tests and whatever else runs the program by itself.

A `Session` has a home and a runtime folder of its own, a private session bus, a real keyring and, when asked
for, a virtual display with a window manager and a panel. Whatever it started ends with it. What such a desktop shows
is read with desktop_reader.py.
"""

import base64
import contextlib
import json
import os
import re
import shutil
import signal
import subprocess
import tempfile
import time
import uuid
from pathlib import Path

SCHEMA = "com.ardentwick.Morvanel"
SERVICE = "com.ardentwick.Morvanel.token"

PANEL_HEIGHT = 32  # of the panel in look
LOOK = Path(__file__).resolve().parent / "look"  # the settings of the desktop's programs


def wait_for(condition, what, timeout=30.0):
    """The first true value of `condition()`; an AssertionError that names `what` after `timeout` seconds.

    `what` may be a function that tells it then.
    """
    deadline = time.monotonic() + timeout
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {timeout:g} s: {what() if callable(what) else what}")
        time.sleep(0.02)


def tunnel(name, hostname="", start=False):
    """A tunnel's record as it is stored."""
    return {"id": str(uuid.uuid4()).upper(), "name": name, "hostname": hostname, "startOnLaunch": start}


def processes():
    """The program of each process that is no zombie, by process id."""
    found = {}
    for name in filter(str.isdigit, os.listdir("/proc")):
        with contextlib.suppress(OSError):
            found[int(name)] = os.readlink(f"/proc/{name}/exe")
    return found


def parent(pid):
    """The id of the parent; 0 when the process is gone."""
    try:
        return int(Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[1])
    except OSError:
        return 0


class Session:
    """`display` adds an X server of that size with a window manager."""

    ground = "#8fa9bf"
    display_options = ()
    is_panel_dark = False

    def __init__(self, display=""):
        self.home = Path(tempfile.mkdtemp(prefix="morvanel-session."))
        self.started = []
        runtime = self.home / "run"
        runtime.mkdir(mode=0o700)
        kept = {name: os.environ[name] for name in ("PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS") if name in os.environ}
        self.environment = kept | {
            "HOME": str(self.home),
            "XDG_RUNTIME_DIR": str(runtime),
            "LC_ALL": "C.UTF-8",
        }
        try:
            if display:
                self._start_display(display)
            self._start_bus()
            self.start_keyring()
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        for process in reversed(self.started):
            for pipe in (process.stdin, process.stdout):
                if pipe:
                    pipe.close()
            if process.poll() is None:
                process.terminate()
                try:
                    process.wait(5)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()
        self.started = []
        shutil.rmtree(self.home, ignore_errors=True)

    def spawn(self, *command, **options):
        """Starts a program of the session; it ends with the session."""
        environment = self.environment | options.pop("environment", {})
        process = subprocess.Popen(command, env=environment, cwd=self.home, **options)
        self.started.append(process)
        return process

    def run(self, *command, check=True, **options):
        """Runs a program of the session to its end and returns what it printed."""
        result = subprocess.run(command, env=self.environment, cwd=self.home, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, **options)
        if check and result.returncode != 0:
            raise AssertionError(f"{command} ended with {result.returncode}: {os.fsdecode(result.stderr)}")
        return os.fsdecode(result.stdout)

    def _start_bus(self):
        bus = self.spawn("dbus-daemon", "--session", "--nofork", "--print-address", stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = os.fsdecode(bus.stdout.readline()).strip()

    def start_keyring(self):
        keyring = self.spawn("gnome-keyring-daemon", "--unlock", "--components=secrets", "--foreground",
                             stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        keyring.stdin.write(b"password")
        keyring.stdin.close()
        wait_for(lambda: self.owner("org.freedesktop.secrets"), "the keyring is on the bus")

    def _start_display(self, size):
        """Starts the display, with keys that do not repeat: one whose release comes late is typed once all the same."""
        server = self.spawn("Xvfb", "-displayfd", "1", "-screen", "0", f"{size}x24", "-nolisten", "tcp", "-noreset",
                            "-r", *self.display_options, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.environment["DISPLAY"] = ":" + os.fsdecode(server.stdout.readline()).strip()
        self._write_settings()
        self.run("xsetroot", "-solid", self.ground)
        self._start_window_manager()

    def _start_window_manager(self):
        self.spawn("openbox", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for(lambda: "window id" in self.run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"),
                 "the window manager runs")

    def _write_settings(self):
        shutil.copytree(LOOK, self.home, dirs_exist_ok=True)

    def start_panel(self):
        """A panel along the upper edge, with a task bar, a place for status items and a clock."""
        self.run("xfconf-query", "-c", "xfce4-panel", "-p", "/panels/dark-mode", "-n", "-t", "bool",
                 "-s", str(self.is_panel_dark).lower())
        panel = self.spawn("xfce4-panel", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for(lambda: self.owner("org.kde.StatusNotifierWatcher"), "the panel takes status items")
        return panel

    def lock_keyring(self):
        self.run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.secrets",
                 "/org/freedesktop/secrets", "org.freedesktop.Secret.Service.Lock",
                 "array:objpath:/org/freedesktop/secrets/collection/login")

    def owner(self, name):
        """The unique name of whoever owns `name` on the session's bus; empty for nobody."""
        reply = self.run("dbus-send", "--session", "--print-reply=literal", "--dest=org.freedesktop.DBus",
                         "/org/freedesktop/DBus", "org.freedesktop.DBus.GetNameOwner", f"string:{name}", check=False)
        return reply.strip()

    @property
    def preferences(self):
        return self.home / ".config/morvanel/preferences.json"

    def read_preferences(self):
        return json.loads(self.preferences.read_text())

    def configure(self, tunnels, cloudflared, token=None, **others):
        """Writes the preferences of a user who has these tunnels; `token(record)` goes to the keyring for each."""
        self.preferences.parent.mkdir(parents=True, exist_ok=True)
        listed = base64.b64encode(json.dumps(tunnels).encode()).decode()
        self.preferences.write_text(json.dumps({"tunnels": {"data": listed}, "cloudflaredPath": str(cloudflared)} | others))
        for record in tunnels if token else []:
            self.store_token(record["id"], token(record))

    def store_token(self, tunnel_id, token):
        self.run("secret-tool", "store", "--label=Morvanel token", "xdg:schema", SCHEMA, "service", SERVICE,
                 "account", tunnel_id, input=token.encode())


class Program:
    """A run of Morvanel in a session. Its standard error is kept in `log`."""

    def __init__(self, session, path, environment=None):
        self.session = session
        self.log = session.home / f"stderr.{len(session.started)}"
        with open(self.log, "wb") as errors:
            self.process = session.spawn(str(path), stderr=errors, environment=environment or {})

    @property
    def pid(self):
        return self.process.pid

    def children(self):
        """The children that have come to their program; until then they still are copies of this one."""
        running = processes()
        return [pid for pid in running if parent(pid) == self.pid and running[pid] != running.get(self.pid)]

    def keeper(self):
        """The process that ends the children once the program is gone."""
        return next(int(path.parent.name) for path in Path("/proc").glob("[0-9]*/comm")
                    if parent(path.parent.name) == self.pid and path.read_text() == "tunnel-keeper\n")

    def wait_for_children(self, count):
        wait_for(lambda: len(self.children()) == count, lambda: f"{count} children, there are {len(self.children())}")
        return self.children()

    def quit(self, with_signal=signal.SIGTERM, timeout=10):
        """Asks for the end and returns the exit status and the seconds it took."""
        begin = time.monotonic()
        self.process.send_signal(with_signal)
        status = self.process.wait(timeout)
        return status, time.monotonic() - begin

    def errors(self):
        return self.log.read_text(errors="replace")

    def switches(self):
        """Voluntary and involuntary context switches of all its threads so far: how often it woke up."""
        total = 0
        for task in Path(f"/proc/{self.pid}/task").iterdir():
            total += sum(int(n) for n in re.findall(r"ctxt_switches:\s+(\d+)", (task / "status").read_text()))
        return total

    def cpu_seconds(self):
        fields = Path(f"/proc/{self.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def resident_kib(self):
        return int(re.search(r"VmRSS:\s+(\d+)", Path(f"/proc/{self.pid}/status").read_text())[1])

    def private_dirty_kib(self):
        """Memory that it has written itself and shares with nobody."""
        return int(re.search(r"Private_Dirty:\s+(\d+)", Path(f"/proc/{self.pid}/smaps_rollup").read_text())[1])
