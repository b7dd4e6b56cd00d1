# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""How each desktop's own shell is started without a screen.

A desktop is a row of `DESKTOPS` and a function that writes its settings and starts its programs, in the order in which
its session manager does. What needs hardware, systemd or a system bus with services is left out.
"""

import shutil
import subprocess
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

from desktop_reader import WATCHER
from session import Session, wait_for

SOCKET = "wayland-1"


class Shell(Session):
    """A desktop's own shell on a virtual screen, light or dark, at `scale` 1 or 2."""

    def __init__(self, desktop, is_dark=False, scale=1):
        self.desktop, self.is_dark, self.scale = desktop, is_dark, scale
        self.has_dark_windows = is_dark and desktop.darkens_windows
        self.width, self.height = 1280 * scale, 800 * scale
        self.pixels = Path(tempfile.mkdtemp())  # the X server keeps its screen in a file there
        self.display_options = ("-fbdir", str(self.pixels))
        super().__init__(f"{self.width}x{self.height}")
        try:
            self.compositor = None
            desktop.start(self)
            if desktop.has_watcher:
                wait_for(self._has_host, f"the panel of {desktop.title} takes status items", 90)
            if desktop.settle:
                desktop.settle(self)
        except BaseException:
            self.close()
            raise

    def _start_window_manager(self):
        self.display = self.environment["DISPLAY"]
        if self.desktop.display == "Wayland":
            self.environment |= {"DISPLAY": "", "WAYLAND_DISPLAY": SOCKET}
        self.environment |= {
            "XDG_SESSION_TYPE": self.desktop.display.lower(),
            "GSETTINGS_BACKEND": "keyfile",
            "LIBGL_ALWAYS_SOFTWARE": "1",
            "QT_QUICK_BACKEND": "software",
            "NO_AT_BRIDGE": "1",
        } | self.desktop.environment

    def _start_bus(self):
        """The session's bus, and a system bus that has no services: shells end without one."""
        configuration = self.home / "system-bus"
        configuration.write_text(
            "<busconfig><type>system</type>"
            f"<listen>unix:dir={self.home}</listen><policy context='default'><allow user='*'/><allow own='*'/>"
            "<allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/></policy></busconfig>")
        bus = self.spawn("dbus-daemon", f"--config-file={configuration}", "--nofork", "--nopidfile", "--print-address",
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.environment["DBUS_SYSTEM_BUS_ADDRESS"] = bus.stdout.readline().decode().strip()
        # The system has the notification services and keyrings of all desktops; the bus is to start none but the own.
        notifications = self.desktop.notifications
        self._set_service("org.freedesktop.Notifications", self.helper(notifications) if notifications else "/bin/false")
        self._set_service("org.freedesktop.secrets", "/bin/false")
        super()._start_bus()

    def _set_service(self, name, program):
        """What the bus starts for a name; the system's folders come after this one."""
        services = self.home / "run/dbus-1/services"
        services.mkdir(parents=True, exist_ok=True)
        (services / f"{name}.service").write_text(f"[D-BUS Service]\nName={name}\nExec={program}\n")

    def _has_host(self):
        return "boolean true" in self.run(
            "dbus-send", "--session", "--print-reply", f"--dest={WATCHER}", "/StatusNotifierWatcher",
            "org.freedesktop.DBus.Properties.Get", f"string:{WATCHER}", "string:IsStatusNotifierHostRegistered",
            check=False)

    def start(self, *command, **environment):
        """Starts a program of the desktop; what it prints is in the folder "log"."""
        log = self.home / "log"
        log.mkdir(exist_ok=True)
        with open(log / Path(command[0]).name, "ab") as output:
            return self.spawn(*command, stdout=output, stderr=output, environment=environment)

    def helper(self, name):
        """The path of a program that need not be in a folder of PATH; Debian's releases keep it in different ones."""
        patterns = [f"{folder}/{'*/' * depth}{name}" for folder in ("bin", "libexec", "lib") for depth in range(4)]
        return str(next(file for pattern in patterns for file in Path("/usr").glob(pattern) if file.is_file()))

    def start_helper(self, name):
        self.start(self.helper(name))

    def write(self, path, text):
        file = self.home / ".config" / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)

    def write_gsettings(self, groups):
        """Settings of GNOME and its relatives, by the schema's path."""
        lines = []
        for group, values in groups.items():
            lines += [f"[{group}]", *(f"{key}={value}" for key, value in values.items())]
        self.write("glib-2.0/settings/keyfile", "\n".join(lines) + "\n")

    def wait_for_socket(self):
        wait_for((self.home / "run" / SOCKET).is_socket, "the compositor runs", 60)

    def wait_for_window_manager(self):
        wait_for(lambda: "window id" in self.run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"), "the window manager runs",
                 60)

    def end_display(self):
        """The end that a crash of the X server or of the compositor is."""
        (self.compositor or self.started[0]).kill()


def openbox(shell):
    """Waits for its command after starting: it never shows a window that comes while it still looks for fonts."""
    started = shell.home / "openbox-started"
    shell.start("openbox", "--startup", f"touch {started}")
    wait_for(started.exists, "the window manager runs", 60)


def trayer(shell):
    openbox(shell)
    tint = "0x202833" if shell.is_dark else "0xd8d8d8"
    shell.start("trayer", "--edge", "bottom", "--align", "right", "--expand", "true", "--width", "30", "--height",
                str(32 * shell.scale), "--transparent", "true", "--alpha", "0", "--tint", tint)
    wait_for(lambda: shell.run("xdotool", "search", "--class", "trayer", check=False).strip(), "the tray is there")


def xfce(shell):
    theme = "Adwaita-dark" if shell.is_dark else "Adwaita"
    shell.write("xfce4/xfconf/xfce-perchannel-xml/xsettings.xml", f"""<?xml version="1.0" encoding="UTF-8"?>
<channel name="xsettings" version="1.0">
  <property name="Net" type="empty">
    <property name="ThemeName" type="string" value="{theme}"/>
    <property name="IconThemeName" type="string" value="Adwaita"/>
  </property>
  <property name="Gdk" type="empty"><property name="WindowScalingFactor" type="int" value="{shell.scale}"/></property>
</channel>
""")
    shell.start("xfwm4", "--compositor=off")
    shell.start("xfsettingsd", "--no-daemon")
    shell.wait_for_window_manager()
    shell.start_helper("xfce4-notifyd")
    shell.is_panel_dark = shell.is_dark
    shell.start_panel()


def lxqt(shell):
    shell.write("lxqt/lxqt.conf", "[General]\nicon_theme=breeze\ntheme=" + ("dark" if shell.is_dark else "light") + "\n")
    if shell.scale > 1:
        shell.environment |= {"QT_SCALE_FACTOR": str(shell.scale), "GDK_SCALE": str(shell.scale)}
    openbox(shell)
    shell.start("lxqt-notificationd")
    shell.start("lxqt-panel")


MATE_TRAY = "NotificationAreaAppletFactory::NotificationArea"


def mate(shell, applet=MATE_TRAY):
    shell.write_gsettings({
        "org/mate/panel/general": {"enable-sni-support": "true" if applet == MATE_TRAY else "false", "toplevel-id-list": "['bottom']", "object-id-list": "['list', 'tray']"},
        "org/mate/panel/toplevels/bottom": {"expand": "true", "orientation": "'bottom'", "size": 32},
        "org/mate/panel/objects/list": {
            "object-type": "'applet'", "applet-iid": "'WnckletFactory::WindowListApplet'", "toplevel-id": "'bottom'",
            "position": 0},
        "org/mate/panel/objects/tray": {
            "object-type": "'applet'", "applet-iid": f"'{applet}'", "toplevel-id": "'bottom'", "position": 0,
            "panel-right-stick": "true"},
        "org/mate/desktop/interface": {"gtk-theme": "'Adwaita-dark'" if shell.is_dark else "'Menta'", "icon-theme": "'menta'",
                                       "window-scaling-factor": shell.scale},
    })
    shell.start("marco", "--no-composite")
    shell.wait_for_window_manager()
    shell.start_helper("mate-settings-daemon")
    shell.start("mate-panel")


def mate_indicator(shell):
    shell.start_helper("ayatana-indicator-application-service")
    mate(shell, "IndicatorAppletFactory::IndicatorApplet")


def cinnamon(shell):
    theme = "'Adwaita-dark'" if shell.is_dark else "'Adwaita'"
    shell.write_gsettings({
        "org/cinnamon": {
            "enabled-applets": "['panel1:left:0:grouped-window-list@cinnamon.org', 'panel1:right:0:systray@cinnamon.org', "
                               "'panel1:right:1:xapp-status@cinnamon.org']",
            "panels-enabled": "['1:0:bottom']", "desktop-effects": "false", "startup-animation": "false"},
        "org/cinnamon/muffin": {"experimental-features": "@as []"},  # Cinnamon 5.6's have a scale for each screen instead
        "org/cinnamon/desktop/interface": {"enable-animations": "false", "gtk-theme": theme, "icon-theme": "'Adwaita'",
                                           "scaling-factor": f"uint32 {shell.scale}"},
        "org/cinnamon/desktop/notifications": {"fade-on-mouseover": "false"},
    })
    shell.start("csd-xsettings")
    shell.start_helper("xapp-sn-watcher")
    shell.start("cinnamon", "--x11", "--sm-disable")
    shell.wait_for_window_manager()


def _gnome_settings(shell):
    shell.write_gsettings({
        "org/gnome/shell": {"enabled-extensions": "['ubuntu-appindicators@ubuntu.com']", "disable-user-extensions": "false",
                            "welcome-dialog-last-shown-version": "'99'"},
        "org/gnome/mutter": {"experimental-features": "@as []"},  # GNOME 48's shrink a nested screen that is enlarged
        "org/gnome/desktop/interface": {
            "enable-animations": "false", "color-scheme": "'prefer-dark'" if shell.is_dark else "'default'",
            "gtk-theme": "'Adwaita-dark'" if shell.is_dark else "'Adwaita'"},
    })


def gnome_x11(shell):
    _gnome_settings(shell)
    shell.start("gnome-shell", "--x11", "--sm-disable")
    shell.wait_for_window_manager()
    shell.start_helper("gsd-xsettings")


def gnome_wayland(shell):
    _gnome_settings(shell)
    shell.compositor = shell.start(
        "gnome-shell", "--nested", "--wayland", "--no-x11", "--sm-disable", "--wayland-display", SOCKET,
        DISPLAY=shell.display, WAYLAND_DISPLAY="", MUTTER_DEBUG_DUMMY_MODE_SPECS=f"{shell.width}x{shell.height}",
        MUTTER_DEBUG_DUMMY_MONITOR_SCALES=str(shell.scale))
    shell.wait_for_socket()


def leave_the_overview(shell):
    """GNOME's session begins in it. To leave it before the shell says that it has started keeps it from ever doing so."""
    def call(method, *arguments):
        return shell.run("gdbus", "call", "--session", "-d", "org.gnome.Shell", "-o", "/org/gnome/Shell", "-m",
                         f"org.freedesktop.DBus.Properties.{method}", "org.gnome.Shell", "OverviewActive", *arguments,
                         check=False)

    def has_left():
        call("Set", "<false>")
        return "false" in call("Get")
    wait_for(lambda: "GNOME Shell started" in (shell.home / "log/gnome-shell").read_text(), "GNOME has started", 90)
    wait_for(has_left, "GNOME leaves the overview", 60)
    focus_compositor(shell)


def focus_compositor(shell):
    """Gives the keyboard to the compositor's window; outside of it nobody does."""
    if shell.compositor:
        subprocess.run(["xdotool", "mousemove", "300", "300", "search", "--onlyvisible", "--name", ".", "windowfocus"],
                       env=shell.environment | {"DISPLAY": shell.display}, stdout=subprocess.DEVNULL, check=False)


def _plasma_settings(shell):
    shell.environment["KDE_SESSION_VERSION"] = "6" if shutil.which("kded6") else "5"
    if shell.is_dark:
        shutil.copy("/usr/share/color-schemes/BreezeDark.colors", shell.home / ".config/kdeglobals")
    shell.write("baloofilerc", "[Basic Settings]\nIndexing-Enabled=false\n")
    shell.write("kwalletrc", "[Wallet]\nEnabled=false\n")


def plasma_x11(shell):
    _plasma_settings(shell)
    shell.start("kwin_x11", KWIN_COMPOSE="N")
    shell.wait_for_window_manager()
    shell.start(f"kded{shell.environment['KDE_SESSION_VERSION']}")
    shell.start("plasmashell", "--no-respawn")
    wait_for(shell._has_host, "the panel takes status items", 90)
    shell.start("xembedsniproxy")


def plasma_wayland(shell):
    """With a copy of the compositor: the installed one has a capability that a container may refuse."""
    _plasma_settings(shell)
    compositor = shell.home / "kwin_wayland"
    shutil.copyfile(shutil.which("kwin_wayland"), compositor)
    compositor.chmod(0o755)
    shell.compositor = shell.start(
        str(compositor), "--x11-display", shell.display, "--width", "1280", "--height", "800", "--scale", str(shell.scale),
        "--socket", SOCKET, "--no-lockscreen", "--no-global-shortcuts",
        WAYLAND_DISPLAY="", QT_QPA_PLATFORM="", KWIN_COMPOSE="Q")
    shell.wait_for_socket()
    if shell.scale > 1:  # Plasma 6 takes the one above as the window's size alone
        shell.run("kscreen-doctor", f"output.1.scale.{shell.scale}")
    shell.start(f"kded{shell.environment['KDE_SESSION_VERSION']}")
    shell.start("plasmashell", "--no-respawn")


def sway(shell):
    ground, text = ("#222222", "#eeeeee") if shell.is_dark else ("#eeeeee", "#222222")
    shell.write("sway/config", f"""output * resolution {shell.width}x{shell.height} scale {shell.scale}
focus_follows_mouse no
for_window [app_id=".*"] floating enable
""")
    shell.write("waybar/config", '{"position": "bottom", "height": 32, "modules-left": ["wlr/taskbar"], '
                                 '"modules-right": ["tray"], "tray": {"icon-size": 22, "spacing": 6}}')
    shell.write("waybar/style.css", f"window#waybar {{ background: {ground}; color: {text}; }}")
    shell.compositor = shell.start("sway", DISPLAY=shell.display, WAYLAND_DISPLAY="", WLR_BACKENDS="x11",
                                   WLR_RENDERER="pixman")
    shell.wait_for_socket()
    shell.start("mako")
    shell.start("waybar")


@dataclass(frozen=True)
class Desktop:
    """A row of the table of desktops."""

    title: str
    package: str  # its version is told
    start: callable
    display: str = "X11"
    environment: dict = field(default_factory=dict)
    neighbour: str = "item"  # what stands beside Morvanel's icon; empty for no panel
    scales: bool = True  # has a scale of 2 that can be had without a screen
    darkens_windows: bool = True  # where it is dark, not only its panel
    has_watcher: bool = True  # takes status items, not only the icons of old trays
    notifications: str = ""  # the program that the bus starts for them, where it ends between them
    settle: callable = None  # what is to be done once the panel is there


MATE = {"XDG_CURRENT_DESKTOP": "MATE"}
KDE = {"XDG_CURRENT_DESKTOP": "KDE", "KDE_FULL_SESSION": "true"}
GNOME = {"XDG_CURRENT_DESKTOP": "GNOME", "XDG_SESSION_DESKTOP": "gnome"}
DESKTOPS = {
    "xfce": Desktop("Xfce", "xfce4-panel", xfce, environment={"XDG_CURRENT_DESKTOP": "XFCE"}),
    "trayer": Desktop("trayer, an old tray", "trayer", trayer, neighbour="old-item", scales=False,
                      darkens_windows=False, has_watcher=False, notifications="dunst"),
    "none": Desktop("no panel", "openbox", openbox, neighbour="", scales=False, darkens_windows=False,
                    has_watcher=False, notifications="dunst"),
    "lxqt": Desktop("LXQt", "lxqt-panel", lxqt, darkens_windows=False,
                    environment={"XDG_CURRENT_DESKTOP": "LXQt", "XDG_CONFIG_DIRS": "/etc/xdg:/usr/share"}),
    "mate": Desktop("MATE", "mate-panel", mate, environment=MATE, notifications="mate-notification-daemon"),
    "mate-indicator": Desktop("MATE with Ayatana's indicators", "mate-indicator-applet", mate_indicator, environment=MATE,
                              notifications="mate-notification-daemon"),
    "cinnamon": Desktop("Cinnamon", "cinnamon", cinnamon, environment={"XDG_CURRENT_DESKTOP": "X-Cinnamon"}),
    "sway": Desktop("sway with waybar", "waybar", sway, "Wayland", {"XDG_CURRENT_DESKTOP": "sway"},
                    darkens_windows=False, settle=focus_compositor),
    "plasma-x11": Desktop("Plasma", "plasma-workspace", plasma_x11, environment=KDE, scales=False),
    "plasma-wayland": Desktop("Plasma", "plasma-workspace", plasma_wayland, "Wayland", KDE, settle=focus_compositor),
    "gnome-x11": Desktop("GNOME with AppIndicator", "gnome-shell", gnome_x11, environment=GNOME, scales=False,
                         settle=leave_the_overview),
    "gnome-wayland": Desktop("GNOME with AppIndicator", "gnome-shell", gnome_wayland, "Wayland", GNOME,
                             settle=leave_the_overview),
}
