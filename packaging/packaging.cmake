# Install rules and the Debian package. The program keeps everything in its
# working directory, so the installed command is a launcher that prepares that
# folder; the executable itself lives in libexec.
include(GNUInstallDirs)

set(QUILLBAR_PROGRAM_DIR "${CMAKE_INSTALL_LIBEXECDIR}/quillbar")
set(QUILLBAR_TEMPLATES_DIR "${CMAKE_INSTALL_DATADIR}/quillbar/deviceFolder")
set(QUILLBAR_DOC_DIR "${CMAKE_INSTALL_DATADIR}/doc/quillbar")
# The path systemd reads units of packages from, relative to the prefix.
set(QUILLBAR_SYSTEMD_UNIT_DIR "lib/systemd/system" CACHE STRING
    "Where quillbar.service is installed, relative to the install prefix")

# The launcher finds the program and the templates from its own place, so an
# installed tree works under any prefix.
file(RELATIVE_PATH QUILLBAR_LAUNCHER_TO_PROGRAM
    "/prefix/${CMAKE_INSTALL_BINDIR}" "/prefix/${QUILLBAR_PROGRAM_DIR}/quillbar")
file(RELATIVE_PATH QUILLBAR_LAUNCHER_TO_TEMPLATES
    "/prefix/${CMAKE_INSTALL_BINDIR}" "/prefix/${QUILLBAR_TEMPLATES_DIR}")
configure_file(packaging/quillbar.in packaging/quillbar @ONLY)

# The mail host must be a domain; ".invalid" says that no mailbox is set up yet.
set(QUILLBAR_PACKAGE_MAINTAINER "Quillbar developers <quillbar@quillbar.invalid>" CACHE STRING
    "Maintainer of the Debian package and author of its changelog entry")
configure_file(packaging/changelog.in packaging/changelog @ONLY)

# Debian wants the changelog and the manual page compressed without time stamps.
find_program(QUILLBAR_GZIP gzip REQUIRED)
set(QUILLBAR_COMPRESSED)
set(QUILLBAR_MAN_PAGES quillbar.1)
if(TARGET quillbar-tool)
    list(APPEND QUILLBAR_MAN_PAGES quillbar-tool.1)
endif()
list(TRANSFORM QUILLBAR_MAN_PAGES PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/packaging/" OUTPUT_VARIABLE QUILLBAR_MAN_SOURCES)
foreach(source "${CMAKE_CURRENT_BINARY_DIR}/packaging/changelog" ${QUILLBAR_MAN_SOURCES})
    get_filename_component(name "${source}" NAME)
    set(compressed "${CMAKE_CURRENT_BINARY_DIR}/packaging/${name}.gz")
    add_custom_command(OUTPUT "${compressed}"
        COMMAND "${QUILLBAR_GZIP}" -9 -n -c "${source}" > "${compressed}"
        DEPENDS "${source}"
        VERBATIM)
    list(APPEND QUILLBAR_COMPRESSED "${compressed}")
endforeach()
# Everything the install rules take, so that a package build needs no tests.
add_custom_target(quillbar_install_parts ALL DEPENDS ${QUILLBAR_COMPRESSED})
# Installing (and so cpack) builds nothing itself, least of all the test
# suite: build quillbar_install_parts first.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY TRUE)
add_dependencies(quillbar_install_parts quillbar)

install(TARGETS quillbar RUNTIME DESTINATION "${QUILLBAR_PROGRAM_DIR}")
if(TARGET quillbar-tool)
    add_dependencies(quillbar_install_parts quillbar-tool)
    install(TARGETS quillbar-tool RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()
install(PROGRAMS "${CMAKE_CURRENT_BINARY_DIR}/packaging/quillbar" DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(DIRECTORY resources/deviceFolder/ DESTINATION "${QUILLBAR_TEMPLATES_DIR}")
# The icon theme files icons by their real size: a PNG's width and height are
# the two big-endian words after its 8-byte signature and the 8-byte header
# of its first chunk.
file(READ resources/Icon.png QUILLBAR_ICON_HEADER LIMIT 24 HEX)
string(SUBSTRING "${QUILLBAR_ICON_HEADER}" 32 8 QUILLBAR_ICON_WIDTH)
string(SUBSTRING "${QUILLBAR_ICON_HEADER}" 40 8 QUILLBAR_ICON_HEIGHT)
math(EXPR QUILLBAR_ICON_WIDTH "0x${QUILLBAR_ICON_WIDTH}")
math(EXPR QUILLBAR_ICON_HEIGHT "0x${QUILLBAR_ICON_HEIGHT}")
install(FILES resources/Icon.png
    DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/${QUILLBAR_ICON_WIDTH}x${QUILLBAR_ICON_HEIGHT}/apps"
    RENAME quillbar.png)
install(FILES packaging/quillbar.desktop DESTINATION "${CMAKE_INSTALL_DATADIR}/applications")
# The unit names the launcher by its full path, known only when installing:
# /usr in the package, any prefix given to cmake --install otherwise.
install(CODE "
    set(QUILLBAR_LAUNCHER_PATH \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/quillbar\")
    configure_file(\"${CMAKE_CURRENT_SOURCE_DIR}/packaging/quillbar.service.in\"
        \"${CMAKE_CURRENT_BINARY_DIR}/packaging/quillbar.service\" @ONLY)")
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/packaging/quillbar.service" DESTINATION "${QUILLBAR_SYSTEMD_UNIT_DIR}")
list(TRANSFORM QUILLBAR_MAN_PAGES REPLACE "(.+)" "${CMAKE_CURRENT_BINARY_DIR}/packaging/\\1.gz")
install(FILES ${QUILLBAR_MAN_PAGES} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
install(FILES README.md DESTINATION "${QUILLBAR_DOC_DIR}")
install(FILES LICENSE DESTINATION "${QUILLBAR_DOC_DIR}" RENAME copyright)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/packaging/changelog.gz" DESTINATION "${QUILLBAR_DOC_DIR}")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillbar)
set(CPACK_PACKAGE_VENDOR "Quillbar developers")
set(CPACK_PACKAGE_CONTACT "${QUILLBAR_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "bridge from a LoRaWAN network server to ModBus-TCP clients")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_RESOURCE_FILE_LICENSE "${CMAKE_CURRENT_SOURCE_DIR}/LICENSE")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Quillbar logs in to a LoRaWAN network server over a WebSocket, decodes the
uplinks of each registered device with a JSON device template into 16-bit
registers kept in a local SQLite file, and publishes each device on a TCP
port where a ModBus-TCP client reads those registers. TCP devices are
streamed to the clients of their port, and what a client sends goes back to
the device.
.
The package has a desktop entry and a systemd service (not enabled) that
runs the bridge headless in /var/lib/quillbar.")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded as plug-ins, so the library scan cannot see them.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6sql6-sqlite")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-dejavu-core")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "sqlite3")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_SOURCE_DIR}/packaging/prerm")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
