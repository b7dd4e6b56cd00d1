# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What is known not to work and stays so: each row says where, at which step of the walk, and why."""

# Desktop, kind of walk (empty for every kind), how the step or each of some begins, reason
LIMITS = (
    ("mate-indicator", "large", ("icon 2", "icon 12"), "the indicators' applet draws an icon at 22 pixels and enlarges it"),
    ("plasma-wayland", "large", ("icon 2", "icon 12"), "Plasma draws an icon at 22 pixels and enlarges it"),
    ("xfce", "large", "first launch", "Xfce enlarges the windows of GTK alone, Qt's only with a larger Xft.dpi"),
    ("trayer", "", "icon", "Qt draws the icon of an old tray at 22 pixels, whatever place the tray has for it"),
)


def reason(desktop, kind, step):
    """Why that step fails there; empty where it is to succeed."""
    return next((why for where, when, what, why in LIMITS
                 if where == desktop and step.startswith(what) and when in ("", kind)), "")
