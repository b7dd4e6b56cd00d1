# The Debian package: cpack -G DEB in the folder of a release build.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME morvanel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Morvanel authors")
set(CPACK_PACKAGE_CONTACT "The Morvanel authors <authors@morvanel.example>")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
set(CPACK_STRIP_FILES ON)
# The service file names the program by its absolute path, so the prefix must be the real one.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The first line is the synopsis; a column limit of 80 applies to the rest, with the blank that goes before it.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "keep Cloudflare tunnels running from the panel
Morvanel sits in the panel of the desktop and runs one cloudflared process
for every tunnel that is started. One icon tells the state of all tunnels;
its menu starts and stops each of them and opens their host names.

Tokens are stored in the keyring of the desktop. The program cloudflared is
not part of this package.")

# Libraries, with the versions whose symbols are used; the plug-in for X11 comes with them.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The theme whose index makes the icons be found, and Qt's plug-in for Wayland.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "hicolor-icon-theme, qt6-wayland")
# A place for tokens, a session bus, and the tool that runs desktop actions for launchers without D-Bus.
string(JOIN ", " CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "default-dbus-session-bus | dbus-session-bus"
    "gnome-keyring | kwalletmanager | keepassxc"
    libglib2.0-bin)
string(JOIN ", " CPACK_DEBIAN_PACKAGE_SUGGESTS cloudflared gnome-shell-extension-appindicator)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

include(CPack)
