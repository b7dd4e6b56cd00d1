# shellcheck shell=sh
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

# What is needed: the kind of work that needs it (see `need`), Debian's package, and the words by which it is looked for
# where there is no apt: a command in PATH, pkg-config's MODULE=VERSION, or a typelib TYPELIB:VERSION for Python.
needs='
build    g++                c++
build    cmake              cmake
build    ninja-build        ninja
build    pkg-config         pkg-config
build    qt6-base-dev       Qt6Core=6.4 Qt6Widgets=6.4 Qt6DBus=6.4
build    qt6-svg-dev        Qt6Svg=6.4
build    libsecret-1-dev    libsecret-1=0.20
build    libxcb1-dev        xcb=1.14
build    dbus
build    libglib2.0-bin
build    qt6-wayland
package  dpkg-dev
demo     gnome-keyring      gnome-keyring-daemon
demo     libsecret-tools    secret-tool
demo     python3            python3
demo     python3-gi         Gio:2.0
demo     dbus               dbus-daemon dbus-send
desktop  xvfb               Xvfb
desktop  x11-utils          xprop xwininfo
desktop  x11-xserver-utils  xsetroot
desktop  xdotool            xdotool
desktop  imagemagick        import identify
desktop  openbox            openbox
desktop  xfce4-panel        xfce4-panel xfconf-query
desktop  adwaita-icon-theme
desktop  fonts-dejavu-core
test     clang-format
test     libglib2.0-bin     gdbus gapplication
test     dbus-x11           dbus-run-session
test     trayer             trayer
test     at-spi2-core
test     gir1.2-atspi-2.0   Atspi:2.0
test     qt6-gtk-platformtheme
test     sway               sway
test     waybar             waybar
test     wtype              wtype
test     wl-clipboard       wl-paste
test     desktop-file-utils desktop-file-validate
test     appstream          appstreamcli
test     dpkg-dev           readelf
test     lintian
test     man-db             man
tidy     clang-tidy         clang-tidy
tidy     clazy              clazy-standalone
tidy     shellcheck         shellcheck
tidy     pyflakes3          pyflakes3
coverage gcovr              gcovr
fuzz     clang              clang++
fuzz     libclang-rt-dev
'

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

# Prints the column of the table for a kind and for the kinds that it includes: column packages|tools KIND.
column() {
    case $2 in
    build) kinds=build ;;
    desktop) kinds="build demo desktop" ;;
    test) kinds="build demo desktop test" ;;
    tidy | coverage) kinds="build demo desktop test $2" ;;
    *) kinds="build $2" ;;
    esac
    printf '%s' "$needs" | while read -r kind package tools; do
        case " $kinds " in
        *" $kind "*) if [ "$1" = packages ]; then printf '%s\n' "$package"; else printf '%s ' "$tools"; fi ;;
        esac
    done
}

# On a distribution without apt nothing is installed; what the kind needs is looked for and what lacks is named.
check_tools() {
    lacking=
    for tool in $(column tools "$1"); do
        case $tool in
        *=*) pkg-config --exists "${tool%=*} >= ${tool#*=}" 2>/dev/null ||
            lacking="$lacking
  ${tool%=*} ${tool#*=} or newer (looked for with pkg-config)" ;;
        *:*) /usr/bin/python3 -c "import gi; gi.require_version('${tool%:*}', '${tool#*:}')" 2>/dev/null ||
            lacking="$lacking
  ${tool%:*} ${tool#*:} for Python: PyGObject (python3-gobject) and the typelib ${tool%:*}-${tool#*:}.typelib" ;;
        *) command -v "$tool" >/dev/null || lacking="$lacking
  $tool (looked for as a command in PATH)" ;;
        esac
    done
    if [ "$1" = fuzz ] && command -v clang++ >/dev/null; then
        printf 'int main() {}' | clang++ -x c++ -fsanitize=address - -o /dev/null 2>/dev/null || lacking="$lacking
  the sanitizers' and fuzzer's libraries for clang (often in a package compiler-rt)"
    fi
    [ -z "$lacking" ] || fail "please install with your system's package manager:$lacking"
}

# need KIND: what KIND needs is there afterwards; build, package, demo, desktop (a demonstration without a display), test,
# tidy, coverage or fuzz.
need() {
    if ! command -v apt-get >/dev/null; then
        check_tools "$1"
        return
    fi
    [ -n "$(apt-cache pkgnames qt6-svg)" ] || step "Fetching apt's lists" as_root apt-get update -q
    packages=$(column packages "$1" | sort -u)
    # Tokens need a Secret Service; any that is installed will do.
    if [ "$1" = build ] && ! grep -qs '^Name=org.freedesktop.secrets$' /usr/share/dbus-1/services/*.service; then
        packages="$packages gnome-keyring"
    fi
    # shellcheck disable=SC2086
    install_packages $packages
}

# Prints the command of LLVM's tool NAME in the version whose judgement counts here; nothing where it is not there.
llvm_tool() {
    for tool in "$1-14" "$1"; do
        case $("$tool" --version 2>/dev/null) in
        *" version 14."*)
            printf '%s' "$tool"
            return
            ;;
        esac
    done
}

# build PRESET [TARGET...]: configured and built.
build() {
    preset=$1
    shift
    cd "$root" || exit
    [ -f "build/$preset/build.ninja" ] || step "Configuring $preset" cmake --preset "$preset"
    step "Building $preset" cmake --build --preset "$preset" ${1:+--target "$@"}
}
