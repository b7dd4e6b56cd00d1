#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""A token's way into each keyring and out again: keyrings.py PROGRAM CLOUDFLARED FOLDER KEYRING KIND

On the Xfce desktop: a tunnel is added in Settings, the program is started anew and the tunnel is started. Where the
keyring is locked, its question for the password is answered.
"""

import base64
import os
import socket
import subprocess
import uuid

from accessibility import find, take_keyboard_to
from session import tunnel, wait_for
from shells import DESKTOPS, Shell
from walk import FIRST, SETTINGS, Walk

PASSWORD = "password"
GROUP = uuid.uuid4()
DATABASE = f"""<?xml version="1.0" encoding="UTF-8"?>
<KeePassFile><Meta><DatabaseName>walk</DatabaseName><CustomData><Item><Key>FDO_SECRETS_EXPOSED_GROUP</Key>
<Value>{{{GROUP}}}</Value></Item></CustomData></Meta>
<Root><Group><UUID>{base64.b64encode(GROUP.bytes).decode()}</UUID><Name>Root</Name></Group></Root></KeePassFile>
"""


class KeyringShell(Shell):
    """Xfce with a keyring of another kind; `is_locked` from its next start on."""

    def __init__(self, keyring):
        self.keyring_name = keyring
        self.is_locked = False
        super().__init__(DESKTOPS["xfce"])

    def start_keyring(self):
        start = {"gnome-keyring": self._start_gnome, "kwallet": self._start_kwallet, "keepassxc": self._start_keepassxc}
        start[self.keyring_name]()
        wait_for(lambda: self.owner("org.freedesktop.secrets"), f"{self.keyring_name} is on the bus")

    def _start_gnome(self):
        super().start_keyring()

    def _start_kwallet(self):
        """As PAM starts it at login: the password's hash through a pipe, the environment through a socket."""
        program = next(name for name in ("kwalletd6", "kwalletd5") if shutil_which(name))
        reader, writer = os.pipe()
        os.write(writer, bytes(range(56)))
        login = socket.socket(socket.AF_UNIX)
        login.bind(str(self.home / "login"))
        login.listen()
        self.start(program, "--pam-login", str(reader), str(login.fileno()))
