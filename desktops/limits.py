# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What is known not to work and stays so: each row says where, at which step of the walk, and why."""

import platform

# Debian's release and kind of walk (empty for every one), desktop, how the step or each of some begins, reason
LIMITS = (
    ("", "large", "mate-indicator", ("icon 2", "icon 12"), "the indicators' applet draws an icon at 22 pixels and enlarges it"),
    ("", "large", "plasma-wayland", ("icon 2", "icon 12"), "Plasma draws an icon at 22 pixels and enlarges it"),
    ("", "large", "xfce", "first launch", "Xfce enlarges the windows of GTK alone, Qt's only with a larger Xft.dpi"),
    ("", "", "trayer", "icon", "Qt draws the icon of an old tray at 22 pixels, whatever place the tray has for it"),
    ("trixie", "", "keepassxc-locked", "tunnel started", "KeePassXC 2.7.10 hangs once its own question is answered"),
)


def reason(desktop, kind, step):
    """Why that step fails there; empty where it is to succeed."""
    release = platform.freedesktop_os_release()["VERSION_CODENAME"]
    return next((why for on, when, where, what, why in LIMITS
                 if where == desktop and step.startswith(what) and on in ("", release) and when in ("", kind)), "")
