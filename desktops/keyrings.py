#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""A token's way into a keyring and out again: keyrings.py PROGRAM CLOUDFLARED FOLDER KEYRING KIND

On the Xfce desktop: a tunnel is added in Settings, the program is started anew and its tunnel connects. Of the keyrings
that are locked then, the question for the password is answered.
"""

import base64
import json
import os
import shutil
import socket
import subprocess
import sys
import uuid
from pathlib import Path

from accessibility import find, take_keyboard_to
from limits import reason
from session import SERVICE, Session, wait_for
from shells import DESKTOPS, Shell
from sight import differs, patches, read
from walk import FAILURES, FIRST, SETTINGS, Walk

KEYRINGS = {  # title and the package whose version is told
    "gnome-keyring": ("GNOME Keyring", "gnome-keyring"),
    "gnome-keyring-locked": ("GNOME Keyring, locked", "gnome-keyring"),
    "kwallet": ("KWallet", "kwalletmanager"),
    "keepassxc": ("KeePassXC", "keepassxc"),
    "keepassxc-locked": ("KeePassXC, locked", "keepassxc"),
}
PASSWORD = "password"
GROUP = uuid.uuid4()
DATABASE = f"""<?xml version="1.0" encoding="UTF-8"?>
<KeePassFile><Meta><DatabaseName>walk</DatabaseName><CustomData><Item><Key>FDO_SECRETS_EXPOSED_GROUP</Key>
<Value>{{{GROUP}}}</Value></Item></CustomData></Meta>
<Root><Group><UUID>{base64.b64encode(GROUP.bytes).decode()}</UUID><Name>Root</Name></Group></Root></KeePassFile>
"""
KEEPASSXC = """[General]
ConfigVersion=2
UpdateCheckMessageShown=true
[GUI]
CheckForUpdates=false
[FdoSecrets]
Enabled=true
ConfirmAccessItem=false
"""


class KeyringShell(Shell):
    """Xfce with a keyring that is told by its name."""

    def __init__(self, keyring):
        self.keyring = keyring.removesuffix("-locked")
        self.service = None
        super().__init__(DESKTOPS["xfce"])
        self.start_service()

    def start_keyring(self):
        """Nothing yet: most keyrings have windows, so they start after the desktop."""

    def start_service(self, is_locked=False):
        start = {"gnome-keyring": self._start_gnome, "kwallet": self._start_kwallet, "keepassxc": self._start_keepassxc}
        self.service = start[self.keyring](is_locked)
        wait_for(lambda: self.owner("org.freedesktop.secrets"), f"{self.keyring} is on the bus")

    def lock(self):
        """Ends the keyring and starts it anew without the password."""
        self.service.terminate()
        self.service.wait()
        self.start_service(is_locked=True)

    def _start_gnome(self, is_locked):
        if not is_locked:
            Session.start_keyring(self)
            return self.started[-1]
        return self.start("gnome-keyring-daemon", "--components=secrets", "--foreground")

    def _start_kwallet(self, _):
        """With a wallet that an earlier login has made."""
        wallet = self.home / ".local/share/kwalletd/kdewallet.kwl"
        wallet.parent.mkdir(parents=True)
        wallet.with_suffix(".salt").write_bytes(bytes(56))
        earlier = self._log_in_to_kwallet()
        wait_for(wallet.exists, "there is a wallet")
        earlier.terminate()
        earlier.wait()
        return self._log_in_to_kwallet()

    def _log_in_to_kwallet(self):
        """As PAM does it: the password's hash comes through a pipe, the environment through a socket."""
        path = self.home / "login"
        path.unlink(missing_ok=True)
        reader, writer = os.pipe()
        os.write(writer, bytes(range(56)))
        with socket.socket(socket.AF_UNIX) as login, socket.socket(socket.AF_UNIX) as session:
            login.bind(str(path))
            login.listen()
            service = self.spawn(shutil.which("kwalletd6") or shutil.which("kwalletd5"), "--pam-login", str(reader),
                                 str(login.fileno()), environment={"PAM_KWALLET5_LOGIN": str(path)},
                                 pass_fds=(reader, login.fileno()), stderr=subprocess.DEVNULL)
            session.connect(str(path))
            session.sendall("".join(f"{name}={value}\n" for name, value in self.environment.items()).encode())
        os.close(reader)
        os.close(writer)
        return service

    def _start_keepassxc(self, is_locked):
        database = self.home / "walk.kdbx"
        if not database.exists():
            (self.home / "walk.xml").write_text(DATABASE)
            self.run("keepassxc-cli", "import", "--set-password", str(self.home / "walk.xml"), str(database),
                     input=f"{PASSWORD}\n{PASSWORD}\n".encode())
            self.write("keepassxc/keepassxc.ini", KEEPASSXC)
        service = self.start("keepassxc", str(database))
        if not is_locked:
            self._unlock_keepassxc()
        return service

    def _unlock_keepassxc(self):
        """By its window: 2.7.10 crashes where it is to read the password from its standard input."""
        def locked():
            return self.run("xdotool", "search", "--onlyvisible", "--name", r"\[Locked\] - KeePassXC", check=False).split()
        window = wait_for(locked, "KeePassXC shows its window")[0]
        self.run("xdotool", "windowactivate", "--sync", window, "type", "--delay", "50", PASSWORD)
        self.run("xdotool", "key", "Return")
        wait_for(lambda: not locked(), "KeePassXC takes the password")


def store(walk):
    """Adds a tunnel that starts at launch, in Settings and by keyboard."""
    walk.launch([])
    with walk.step("token stored"):
        walk.wait_for_active(SETTINGS)

        def field(role, name):
            window = walk.accessibility.windows(walk.program.pid)[SETTINGS]
            return wait_for(lambda: find(window, role, name), f"{role} {name} is shown")
        take_keyboard_to(field("check box", "Start this tunnel when the app opens"))
        walk.sight.key("space")
        for role, name, text in (("text", "Name", FIRST), ("password text", "Token", "eyJwalk.scenario.connected")):
            take_keyboard_to(field(role, name))
            walk.sight.type(text)
        walk.sight.key("Return")
        wait_for(lambda: walk.shell.preferences.exists() and walk.shell.read_preferences().get("tunnels"), "it is kept")
        wait_for(lambda: has_token(walk.shell), "the keyring has the token", 20)
    walk.quit()


def has_token(shell):
    found = shell.run("secret-tool", "search", "--all", "service", SERVICE, check=False, timeout=20)
    return "eyJwalk" in found


def load(walk, is_locked):
    """Starts the program anew: its tunnel connects, after the password where it is asked for."""
    if is_locked:
        walk.shell.lock()
    before = walk.sight.still_picture()
    walk.run_program()
    if is_locked:
        with walk.step("password asked"):
            def asks():
                picture = walk.sight.still_picture(3)
                return any(line.says("password") or line.says("unlock") for box in patches(differs(before, picture))
                           for line in read(picture, box))
            wait_for(asks, "the keyring asks for its password", 20)
            walk.sight.type(PASSWORD)
            walk.sight.key("Return")
    with walk.step("tunnel started"):
        walk.program.wait_for_children(1)
        walk.wait_for_connected(1)
    walk.quit()


def main():
    program, cloudflared, folder = map(Path, sys.argv[1:4])
    keyring = sys.argv[4]
    folder.mkdir(parents=True, exist_ok=True)
    outcomes = {}
    try:
        with KeyringShell(keyring) as shell:
            walk = Walk(shell, program, cloudflared, folder, lambda step: reason(keyring, "", step))
            store(walk)
            load(walk, keyring.endswith("-locked"))
            outcomes = walk.outcomes
    except FAILURES as error:
        outcomes["desktop"] = str(error)
        print(f"    desktop: FAILED: {error}")
    (folder / "outcomes.json").write_text(json.dumps(outcomes, indent=1))
    sys.exit(any(failure and not reason(keyring, "", step) for step, failure in outcomes.items()))


if __name__ == "__main__":
    main()
