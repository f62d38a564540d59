# Builds Quillon.app from the target quillon: the program with its Info.plist, its icon and its
# entitlements.

set(drawing "${CMAKE_SOURCE_DIR}/packaging/icon/quillon.svg")
set(icon "${CMAKE_CURRENT_BINARY_DIR}/Quillon.icns")
add_custom_command(OUTPUT "${icon}"
    COMMAND make-icns "${drawing}" "${icon}"
    DEPENDS make-icns "${drawing}"
    VERBATIM)
# The disk image contains only the bundle, so the manual and the licences are inside the bundle.
set(resources "${icon}"
    "${CMAKE_SOURCE_DIR}/packaging/copyright"
    "${CMAKE_SOURCE_DIR}/packaging/quillon.1"
    "${CMAKE_SOURCE_DIR}/packaging/completions/quillon.bash"
    "${CMAKE_SOURCE_DIR}/packaging/completions/_quillon"
    "${CMAKE_SOURCE_DIR}/packaging/completions/quillon.fish"
    "${CMAKE_CURRENT_LIST_DIR}/quillon"
    "${CMAKE_CURRENT_LIST_DIR}/licences/GPL-3.txt"
    "${CMAKE_CURRENT_LIST_DIR}/licences/LGPL-3.txt")
if(QUILLON_SMALL_MODEL)
    list(APPEND resources "${QUILLON_SMALL_MODEL}" "${CMAKE_SOURCE_DIR}/LICENSES/Apache-2.0.txt")
endif()
set_source_files_properties(${resources} PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
target_sources(quillon PRIVATE ${resources})

set_target_properties(quillon PROPERTIES
    OUTPUT_NAME Quillon
    MACOSX_BUNDLE TRUE
    MACOSX_BUNDLE_INFO_PLIST "${CMAKE_CURRENT_LIST_DIR}/Info.plist.in")

set(QUILLON_SIGNING_IDENTITY "-" CACHE STRING "Who signs the bundle; - signs without an identity")
set(sign codesign --force --sign "${QUILLON_SIGNING_IDENTITY}"
    --entitlements "${CMAKE_CURRENT_LIST_DIR}/Quillon.entitlements")
# Otherwise each build would lose the user's permissions: without an identity, the system identifies
# a program by its checksum.
if(QUILLON_SIGNING_IDENTITY STREQUAL "-")
    list(APPEND sign --requirements "${CMAKE_CURRENT_LIST_DIR}/Quillon.requirements")
endif()
add_custom_command(TARGET quillon POST_BUILD
    COMMAND ${sign} "$<TARGET_BUNDLE_DIR:quillon>"
    VERBATIM)

# Installing changes the run paths, which makes the signature invalid.
install(TARGETS quillon BUNDLE DESTINATION .)
list(JOIN sign "\" \"" sign)
install(CODE "
    execute_process(
        COMMAND \"${sign}\" \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/Quillon.app\"
        COMMAND_ERROR_IS_FATAL ANY)")

# For terminals: a link to the bundle's command.
install(CODE "
    set(folder \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    file(MAKE_DIRECTORY \"\${folder}\")
    file(CREATE_LINK ../Quillon.app/Contents/Resources/quillon \"\${folder}/quillon\" SYMBOLIC)")
