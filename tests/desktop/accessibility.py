# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""The windows as a screen reader gets them, over the accessibility bus."""

import contextlib
import os

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

from session import wait_for  # noqa: E402

BUTTON = Atspi.role_get_name(Atspi.Role.PUSH_BUTTON)  # the name differs between versions


class Accessibility:
    """The accessibility bus of a session with that environment. A process can read that of one session only."""

    def __init__(self, environment):
        names = {"DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"}
        os.environ |= {name: environment[name] for name in names & environment.keys()}
        os.environ.pop("AT_SPI_BUS_ADDRESS", None)
        Atspi.init()
        Atspi.set_timeout(3000, 3000)
        self._told = set()
        self._listener = Atspi.EventListener.new(self._note)
        self._listener.register("object:property-change:accessible-description")

    def _note(self, event):
        with contextlib.suppress(GLib.Error):  # it may be gone by now
            self._told.add((event.source.get_role_name(), event.source.get_description()))

    def has_told(self, role, description):
        """Whether something of that role has announced its new description."""
        while GLib.MainContext.default().iteration(False):
            pass
        return (role, description) in self._told

    @staticmethod
    def _application(pid):
        desktop = Atspi.get_desktop(0)
        for i in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(i)
            if application and application.get_process_id() == pid:
                return application
        return None

    def windows(self, pid):
        """The top-level objects of the process by name."""
        application = wait_for(lambda: self._application(pid), "the program is on the accessibility bus")
        application.set_cache_mask(Atspi.Cache.NONE)
        return {child.get_name(): child for child in _children(application)}


def _children(parent):
    return [child for i in range(parent.get_child_count()) if (child := parent.get_child_at_index(i))]


def showing(top):
    """Everything below `top` that is on the screen."""
    for child in _children(top):
        if child.get_state_set().contains(Atspi.StateType.SHOWING):
            yield child
            yield from showing(child)


def find(top, role, name=None):
    """The first object below `top` that is on the screen, of that role and name; None for none."""
    for child in showing(top):
        if child.get_role_name() == role and name in (None, child.get_name()):
            return child
    return None


def has_state(accessible, state):
    """Whether it has the state of that name, such as "focused"."""
    return accessible.get_state_set().contains(getattr(Atspi.StateType, state.upper()))


def take_keyboard_to(accessible):
    Atspi.Component.grab_focus(accessible)


def text_of(accessible):
    return Atspi.Text.get_text(accessible, 0, -1)


def offers_text(accessible):
    """Whether its text can be read at all, and changes of it are announced."""
    return "Text" in accessible.get_interfaces()


def label_of(accessible):
    """The name of what labels it: a combo box has its value as name."""
    relations = [r for r in accessible.get_relation_set() if r.get_relation_type() == Atspi.RelationType.LABELLED_BY]
    return relations[0].get_target(0).get_name() if relations else ""
