# Shared by the scripts here; sourced, not run. Takes --yes out of the script's arguments: packages are installed
# without a question then.

agreed=
for argument; do
    shift
    if [ "$argument" = --yes ]; then
        agreed=1
    else
        set -- "$@" "$argument"
    fi
done
root=$(cd "$(dirname "$0")/.." && pwd)

build_packages="g++ cmake ninja-build pkg-config qt6-base-dev qt6-svg-dev libsecret-1-dev libxcb1-dev"
run_packages="dbus libglib2.0-bin qt6-wayland"
# The demonstration: on the user's display, and what its own virtual desktop needs besides.
demo_packages="gnome-keyring libsecret-tools python3 python3-gi"
desktop_packages="xvfb x11-utils x11-xserver-utils xdotool imagemagick openbox xfce4-panel adwaita-icon-theme
    fonts-dejavu-core"
test_packages="$demo_packages $desktop_packages clang-format clang-tidy dbus-x11 trayer at-spi2-core qt6-gtk-platformtheme
    gir1.2-atspi-2.0 sway waybar wtype wl-clipboard desktop-file-utils appstream dpkg-dev lintian man-db"
fuzz_packages="clang libclang-rt-dev"

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$1" >&2
    exit 1
}

# Runs a command: step WHAT COMMAND [ARGUMENT...]. A terminal shows its output as it comes; elsewhere it is shown only
# when the command fails.
step() {
    what=$1
    shift
    if [ -t 1 ]; then
        printf '%s\n' "$what"
        "$@" || fail "$what failed; the reason is above."
        return
    fi
    log=$(mktemp)
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        fail "$what failed; the reason is above."
    fi
    rm -f "$log"
}

# The Debian packages among the arguments that are not installed.
missing_packages() {
    for package in "$@"; do
        state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
        [ "$state" = installed ] || printf '%s ' "$package"
    done
}

as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        fail "there is no sudo. As root: $*"
    fi
}

# Asks whether to go on, where there is somebody to ask.
confirm() {
    [ -t 0 ] && [ -t 1 ] && [ -z "${CI:-}$agreed" ] || return 0
    printf '%s [Y/n] ' "$1"
    read -r answer || answer=n
    case $answer in
    '' | [Yy]*) ;;
    *) fail "nothing was installed, and it does not go on without." ;;
    esac
}

# Installs the packages among the arguments that are missing, and says which before it does.
install_packages() {
    missing=$(missing_packages "$@")
    [ -n "$missing" ] || return 0
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
        fail "needs packages that are not installed, and there is no sudo. As root: apt-get install $missing"
    printf 'Packages to install with apt: %s\n' "$missing"
    confirm "Install them?"
    # shellcheck disable=SC2086
    apt-get install --print-uris -qq $missing >/dev/null 2>&1 || step "Updating apt's lists" as_root apt-get update -q
    # shellcheck disable=SC2086
    step "Installing" as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends $missing
}

# The mirror that this machine's apt uses.
mirror() {
    found=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' | grep '/debian/*$' | head -n 1)
    printf '%s\n' "${found:-http://deb.debian.org/debian}"
}

# On a distribution without apt nothing is installed; what the kind needs is looked for and what lacks is named.
check_tools() {
    lacking=
    tools="c++ cmake ninja pkg-config"
    modules=
    demo_tools="python3 secret-tool dbus-daemon dbus-send"
    desktop_tools="gnome-keyring-daemon Xvfb openbox xfce4-panel xfconf-query xdotool xprop xwininfo xsetroot import"
    test_tools="dbus-run-session gdbus gapplication trayer sway waybar wtype wl-paste identify
        desktop-file-validate appstreamcli man readelf"
    case $1 in
    demo) tools="$tools $demo_tools" modules=Gio-2.0 ;;
    desktop) tools="$tools $demo_tools $desktop_tools" modules=Gio-2.0 ;;
    test)
        tools="$tools $demo_tools $desktop_tools $test_tools"
        modules="Gio-2.0 Atspi-2.0"
        ;;
    fuzz) tools="$tools clang++" ;;
    esac
    for tool in $tools; do
        command -v "$tool" >/dev/null || lacking="$lacking
  $tool (looked for as a command in PATH)"
    done
    for module in $modules; do
        /usr/bin/python3 -c "import gi; gi.require_version('${module%-*}', '${module#*-}')" 2>/dev/null || lacking="$lacking
  ${module%-*} ${module#*-} for Python: PyGObject (python3-gobject) and the typelib $module.typelib"
    done
    if [ "$1" = fuzz ] && command -v clang++ >/dev/null; then
        printf 'int main() {}' | clang++ -x c++ -fsanitize=address - -o /dev/null 2>/dev/null || lacking="$lacking
  the sanitizers' and fuzzer's libraries for clang (often in a package compiler-rt)"
    fi
    if command -v pkg-config >/dev/null; then
        for module in Qt6Core:6.4 Qt6Widgets:6.4 Qt6DBus:6.4 Qt6Svg:6.4 libsecret-1:0.20 xcb:1.14; do
            pkg-config --exists "${module%%:*} >= ${module##*:}" || lacking="$lacking
  ${module%%:*} ${module##*:} or newer (looked for with pkg-config)"
        done
    fi
    [ -z "$lacking" ] || fail "please install with your system's package manager:$lacking"
}

# need KIND: what KIND needs is there afterwards; build, package, demo, desktop (a demonstration without a display), test
# or fuzz.
need() {
    if ! command -v apt-get >/dev/null; then
        check_tools "$1"
        return
    fi
    [ -n "$(apt-cache pkgnames qt6-svg)" ] || step "Fetching apt's lists" as_root apt-get update -q
    packages="$build_packages $run_packages"
    case $1 in
    # Tokens need a Secret Service; any that is installed will do.
    build) grep -qs '^Name=org.freedesktop.secrets$' /usr/share/dbus-1/services/*.service ||
        packages="$packages gnome-keyring" ;;
    package) packages="$packages dpkg-dev" ;;
    demo) packages="$packages $demo_packages" ;;
    desktop) packages="$packages $demo_packages $desktop_packages" ;;
    test) packages="$packages $test_packages" ;;
    fuzz) packages="$packages $fuzz_packages" ;;
    esac
    # shellcheck disable=SC2086
    install_packages $packages
}

# build PRESET [TARGET...]: configured and built.
build() {
    preset=$1
    shift
    cd "$root"
    [ -f "build/$preset/build.ninja" ] || step "Configuring $preset" cmake --preset "$preset"
    step "Building $preset" cmake --build --preset "$preset" ${1:+--target "$@"}
}
