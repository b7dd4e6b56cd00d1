# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What is known not to work and stays so: each row says where, at which step of the walk, and why."""

# Desktop, kind of walk (empty for every kind), how the step begins, reason
LIMITS = (
    ("mate", "", "icon idle", "MATE does not tint icons, and a grey that shows on dark panels is weak on its light one"),
    ("mate-indicator", "", "icon idle", "as on MATE"),
    ("trayer", "", "icon", "Qt draws the icon of an old tray at 22 pixels, whatever place the tray has for it"),
)


def reason(desktop, kind, step):
    """Why that step fails there; empty where it is to succeed."""
    return next((why for where, when, what, why in LIMITS
                 if where == desktop and step.startswith(what) and when in ("", kind)), "")
