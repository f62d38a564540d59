# The Debian package of `cmake --build … --target package`.

set(documents "${CMAKE_INSTALL_DATADIR}/doc/quillon")
install(FILES "${PROJECT_SOURCE_DIR}/packaging/copyright" DESTINATION "${documents}")
set(changelog "${CMAKE_CURRENT_BINARY_DIR}/changelog.gz")
add_custom_command(OUTPUT "${changelog}"
    COMMAND sh -c "gzip -9nc <\"$1\" >\"$2\"" pack "${CMAKE_CURRENT_BINARY_DIR}/changelog"
        "${changelog}"
    DEPENDS "${CMAKE_CURRENT_BINARY_DIR}/changelog"
    VERBATIM)
add_custom_target(quillon-changelog ALL DEPENDS "${changelog}")
install(FILES "${changelog}" DESTINATION "${documents}")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillon)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "desktop assistant with a language model of its own")
set(CPACK_PACKAGE_DESCRIPTION "\
Quillon operates the computer that it runs on. It is told in plain language\n\
what to do; a small language model on this computer plans it one step at a\n\
time, and Quillon carries out each step with the desktop's own means.\n\n\
What is typed never leaves the computer. The network is used once, to fetch\n\
the model, a file of about 1 GB.")
# A package has to name an address. There is none yet: this domain is reserved for names without a host.
set(CPACK_PACKAGE_CONTACT "The Quillon authors <maintainers@quillon.invalid>")
set(CPACK_PACKAGE_VENDOR "The Quillon authors")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Linked libraries are found automatically. These are used at run time only: QML modules, and the
# certificates for downloads.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${libraries}")
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ca-certificates, \
qml6-module-qtqml, \
qml6-module-qtqml-workerscript, \
qml6-module-qtquick, \
qml6-module-qtquick-layouts, \
qml6-module-qtquick-templates")
# For the controls of other applications, for capturing a Wayland screen, and the bus that restricts
# the program to one instance.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "at-spi2-core, default-dbus-session-bus | dbus-session-bus, xdg-desktop-portal")
include(CPack)
