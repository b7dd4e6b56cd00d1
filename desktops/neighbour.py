#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""Another program on the desktop: neighbour.py item|old-item|window

A square icon that fills its place in the panel, also in an old tray, or a plain window to be in front of others.
"""

import sys
from pathlib import Path

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("AyatanaAppIndicator3", "0.1")
from gi.repository import AyatanaAppIndicator3, Gdk, Gtk  # noqa: E402

ICON = str(Path(__file__).with_suffix(".svg"))
GROUND = Gdk.RGBA(0xD0 / 255, 0x70 / 255, 0x10 / 255, 1)

if sys.argv[1] == "item":
    shown = AyatanaAppIndicator3.Indicator.new("neighbour", ICON, AyatanaAppIndicator3.IndicatorCategory.APPLICATION_STATUS)
    menu = Gtk.Menu()
    menu.append(Gtk.MenuItem(label="Neighbour"))
    menu.show_all()
    shown.set_menu(menu)
    shown.set_status(AyatanaAppIndicator3.IndicatorStatus.ACTIVE)
elif sys.argv[1] == "old-item":
    shown = Gtk.StatusIcon.new_from_file(ICON)
else:
    shown = Gtk.Window(title="Another program", default_width=900, default_height=600)
    area = Gtk.DrawingArea()
    area.connect("draw", lambda _, cairo: (Gdk.cairo_set_source_rgba(cairo, GROUND), cairo.paint()))
    shown.add(area)
    shown.show_all()
Gtk.main()
