#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Morvanel on a desktop, to look at by hand: look.py PROGRAM CLOUDFLARED FOLDER DESKTOP KIND [COMMAND]

Runs the shell's COMMAND, or an interactive shell. There, `shot NAME` leaves a picture of the screen in FOLDER, and
xdotool moves, clicks and types. KIND is as in walk.py.
"""

import subprocess
import sys
from pathlib import Path

from session import tunnel, wait_for
from shells import DESKTOPS, Shell
from walk import KINDS, Walk

TUNNELS = {"Garage": "connected", "Website": "connected", "Webhooks": "refused", "Attic": "connected"}


def main():
    program, cloudflared, folder = map(Path, sys.argv[1:4])
    name, kind, *command = sys.argv[4:]
    folder.mkdir(parents=True, exist_ok=True)
    with Shell(DESKTOPS[name], *KINDS[kind]) as shell:
        walk = Walk(shell, program, cloudflared, folder)
        records = [tunnel(title, "www.example.test", start=title != "Attic") for title in TUNNELS]
        for record in records:
            shell.store_token(record["id"], f"eyJlook.scenario.{TUNNELS[record['name']]}")
        walk.launch(records)
        wait_for(lambda: "2/4" in walk.menu_title(), "two tunnels are connected")
        shot = shell.home / "bin/shot"
        shot.parent.mkdir()
        shot.write_text(f'#!/bin/sh\nsleep "${{2:-1}}"\nimport -window root "{folder}/$1.png"\n')
        shot.chmod(0o755)
        environment = walk.sight.outside | {"PATH": f"{shot.parent}:{shell.environment['PATH']}"}
        status = subprocess.run(["bash", *(["-c", *command] if command else ["-i"])], env=environment).returncode
        walk.quit()
    sys.exit(status)


if __name__ == "__main__":
    main()
