# Shared by the scripts here; sourced, not run.

root=$(cd "$(dirname "$0")/.." && pwd)

build_packages="g++ cmake ninja-build pkg-config qt6-base-dev qt6-svg-dev libsecret-1-dev libxcb1-dev libqt6svg6"
run_packages="dbus libglib2.0-bin"
# The demonstration: on the user's display, and what its own virtual desktop needs besides.
demo_packages="gnome-keyring libsecret-tools python3 python3-gi"
desktop_packages="xvfb x11-utils x11-xserver-utils xdotool imagemagick openbox xfce4-panel adwaita-icon-theme
    fonts-dejavu-core"
test_packages="$demo_packages $desktop_packages clang-format clang-tidy dbus-x11 trayer at-spi2-core
    gir1.2-atspi-2.0 desktop-file-utils appstream dpkg-dev lintian man-db"
fuzz_packages="clang libclang-rt-dev"

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$1" >&2
    exit 1
}

# Runs a command and shows its output only when it fails: quietly WHAT COMMAND [ARGUMENT...]
quietly() {
    what=$1
    shift
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
    else
        sudo "$@"
    fi
}

# Installs the packages among the arguments that are missing, and says which.
install_packages() {
    missing=$(missing_packages "$@")
    [ -n "$missing" ] || return 0
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
        fail "needs packages that are not installed, and there is no sudo. As root: apt-get install $missing"
    printf 'Installing with apt: %s\n' "$missing"
    # shellcheck disable=SC2086
    if ! as_root env DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends $missing >/dev/null 2>&1; then
        quietly "apt-get update" as_root apt-get update -qq
        # shellcheck disable=SC2086
        quietly "Installing $missing" as_root env DEBIAN_FRONTEND=noninteractive \
            apt-get install -qq -y --no-install-recommends $missing
    fi
}

# On a distribution without apt nothing is installed; what the kind needs is looked for and what lacks is named.
check_tools() {
    lacking=
    tools="c++ cmake ninja pkg-config"
    demo_tools="python3 secret-tool dbus-daemon dbus-send"
    desktop_tools="gnome-keyring-daemon Xvfb openbox xfce4-panel xdotool xprop xwininfo xsetroot import"
    case $1 in
    demo) tools="$tools $demo_tools" ;;
    desktop) tools="$tools $demo_tools $desktop_tools" ;;
    test) tools="$tools $demo_tools $desktop_tools dbus-run-session trayer" ;;
    fuzz) tools="$tools clang++" ;;
    esac
    for tool in $tools; do
        command -v "$tool" >/dev/null || lacking="$lacking
  $tool (looked for as a command in PATH)"
    done
    if command -v pkg-config >/dev/null; then
        for module in Qt6Core:6.4 Qt6Widgets:6.4 Qt6DBus:6.4 Qt6Svg:6.4 libsecret-1:0.20 xcb:1.14; do
            pkg-config --exists "${module%%:*} >= ${module##*:}" || lacking="$lacking
  ${module%%:*} ${module##*:} or newer (looked for with pkg-config)"
        done
    fi
    [ -z "$lacking" ] || fail "please install with your system's package manager:$lacking"
}

# need KIND: what KIND needs is there afterwards; build, demo, desktop (a demonstration without a display), test or fuzz.
need() {
    if ! command -v apt-get >/dev/null; then
        check_tools "$1"
        return
    fi
    packages="$build_packages $run_packages"
    case $1 in
    # Tokens need a Secret Service; any that is installed will do.
    build) grep -qs '^Name=org.freedesktop.secrets$' /usr/share/dbus-1/services/*.service ||
        packages="$packages gnome-keyring" ;;
    demo) packages="$packages $demo_packages" ;;
    desktop) packages="$packages $demo_packages $desktop_packages" ;;
    test) packages="$packages $test_packages" ;;
    fuzz) packages="$packages $fuzz_packages" ;;
    esac
    # shellcheck disable=SC2086
    install_packages $packages
}

# build PRESET [TARGET...]: configured and built, quietly.
build() {
    preset=$1
    shift
    cd "$root"
    [ -f "build/$preset/build.ninja" ] || quietly "Configuring $preset" cmake --preset "$preset"
    quietly "Building $preset" cmake --build --preset "$preset" ${1:+--target "$@"}
}
