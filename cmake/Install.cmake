# What is installed, and the files that are made for it.
include(GNUInstallDirs)

set(MORVANEL_ID com.ardentwick.Morvanel)
set(MORVANEL_RESOURCES ${CMAKE_SOURCE_DIR}/resources)
set(MORVANEL_INSTALLED_FILES ${CMAKE_BINARY_DIR}/installed)
file(MAKE_DIRECTORY ${MORVANEL_INSTALLED_FILES})

# The application icon in the sizes that desktops ask for when they do not draw SVG.
add_executable(morvanel_render_icon tools/RenderIcon.cpp)
target_link_libraries(morvanel_render_icon PRIVATE morvanel_app morvanel_panel Qt6::Svg)
set(icon_arguments)
set(icon_files)
foreach(size 48 64 96 128 192 256)
    set(png ${MORVANEL_INSTALLED_FILES}/${size}.png)
    list(APPEND icon_arguments ${size} ${png})
    list(APPEND icon_files ${png})
    install(FILES ${png}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps
        RENAME ${MORVANEL_ID}.png)
endforeach()
add_custom_command(
    OUTPUT ${icon_files}
    COMMAND morvanel_render_icon ${MORVANEL_RESOURCES}/icons/${MORVANEL_ID}.svg ${icon_arguments}
    DEPENDS morvanel_render_icon ${MORVANEL_RESOURCES}/icons/${MORVANEL_ID}.svg
    VERBATIM)
# The icons of the panel's item.
set(panel_folder ${MORVANEL_INSTALLED_FILES}/panel)
set(panel_icons)
foreach(state idle idle-symbolic connecting connected problem)
    list(APPEND panel_icons ${panel_folder}/morvanel-${state}.svg)
endforeach()
add_custom_command(
    OUTPUT ${panel_icons}
    COMMAND morvanel_render_icon --panel ${panel_folder}
    DEPENDS morvanel_render_icon
    VERBATIM)

# The files that tell the version. Debian's change log wants the date as mails have it.
execute_process(COMMAND date -u -R -d ${MORVANEL_RELEASE_DATE}
    OUTPUT_VARIABLE MORVANEL_RELEASE_TIME OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
foreach(file morvanel.1 ${MORVANEL_ID}.metainfo.xml debian/changelog)
    configure_file(${MORVANEL_RESOURCES}/${file}.in ${MORVANEL_INSTALLED_FILES}/${file} @ONLY)
endforeach()

# Compressed without a time stamp: the same sources give the same files.
find_program(GZIP gzip REQUIRED)
function(morvanel_compress source result)
    add_custom_command(
        OUTPUT ${result}
        COMMAND ${GZIP} -9nc ${source} > ${result}
        DEPENDS ${source})
endfunction()
morvanel_compress(${MORVANEL_INSTALLED_FILES}/morvanel.1 ${MORVANEL_INSTALLED_FILES}/morvanel.1.gz)
morvanel_compress(${MORVANEL_INSTALLED_FILES}/debian/changelog ${MORVANEL_INSTALLED_FILES}/changelog.Debian.gz)
morvanel_compress(${CMAKE_SOURCE_DIR}/CHANGELOG.md ${MORVANEL_INSTALLED_FILES}/changelog.gz)
add_custom_target(morvanel_installed_files ALL DEPENDS
    ${icon_files}
    ${panel_icons}
    ${MORVANEL_INSTALLED_FILES}/morvanel.1.gz
    ${MORVANEL_INSTALLED_FILES}/changelog.Debian.gz
    ${MORVANEL_INSTALLED_FILES}/changelog.gz)

install(TARGETS morvanel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${MORVANEL_RESOURCES}/${MORVANEL_ID}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${MORVANEL_INSTALLED_FILES}/${MORVANEL_ID}.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${MORVANEL_INSTALLED_FILES}/morvanel.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES
    ${MORVANEL_RESOURCES}/debian/copyright
    ${MORVANEL_INSTALLED_FILES}/changelog.Debian.gz
    ${MORVANEL_INSTALLED_FILES}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The bus starts the program by its absolute name, which depends on the prefix chosen when it is installed.
# It is written where it is installed: the build tree may belong to another user by then.
file(READ ${MORVANEL_RESOURCES}/${MORVANEL_ID}.service.in MORVANEL_SERVICE)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${MORVANEL_RESOURCES}/${MORVANEL_ID}.service.in)
install(CODE "
    set(MORVANEL_INSTALLED_PROGRAM \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/morvanel\")
    set(service \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/dbus-1/services/${MORVANEL_ID}.service\")
    message(STATUS \"Installing: \$ENV{DESTDIR}\${service}\")
    file(CONFIGURE OUTPUT \"\$ENV{DESTDIR}\${service}\" CONTENT [==[${MORVANEL_SERVICE}]==] @ONLY)
    file(CHMOD \"\$ENV{DESTDIR}\${service}\"
        PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${service}\")")

# Drawings for the application and for the panel's item.
set(icons ${MORVANEL_RESOURCES}/icons)
set(hicolor ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
install(FILES ${icons}/${MORVANEL_ID}.svg DESTINATION ${hicolor}/scalable/apps)
install(FILES ${icons}/${MORVANEL_ID}-symbolic.svg DESTINATION ${hicolor}/symbolic/apps)
install(DIRECTORY ${panel_folder}/hicolor/22x22 ${panel_folder}/hicolor/scalable DESTINATION ${hicolor})
# Plasma draws its theme's files at the screen's scale and in its own colours, and enlarges those of icon themes.
install(FILES ${panel_folder}/hicolor/22x22/status/morvanel-idle.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/plasma/desktoptheme/default/icons
    RENAME morvanel.svg)
