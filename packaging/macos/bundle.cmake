# Makes Quillon.app of the target quillon: the program with its description, its icon and what it
# may ask the user for.

set(drawing "${CMAKE_SOURCE_DIR}/packaging/icon/quillon.svg")
set(icon "${CMAKE_CURRENT_BINARY_DIR}/Quillon.icns")
add_custom_command(OUTPUT "${icon}"
    COMMAND make-icns "${drawing}" "${icon}"
    DEPENDS make-icns "${drawing}"
    VERBATIM)
# The image brings nothing but the bundle, so the manual and what the licences ask for lie in it.
set(resources "${icon}"
    "${CMAKE_SOURCE_DIR}/packaging/copyright"
    "${CMAKE_SOURCE_DIR}/packaging/quillon.1"
    "${CMAKE_CURRENT_LIST_DIR}/quillon"
    "${CMAKE_CURRENT_LIST_DIR}/licences/GPL-3.txt"
    "${CMAKE_CURRENT_LIST_DIR}/licences/LGPL-3.txt")
set_source_files_properties(${resources} PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
target_sources(quillon PRIVATE ${resources})

set_target_properties(quillon PROPERTIES
    OUTPUT_NAME Quillon
    MACOSX_BUNDLE TRUE
    MACOSX_BUNDLE_INFO_PLIST "${CMAKE_CURRENT_LIST_DIR}/Info.plist.in")

set(QUILLON_SIGNING_IDENTITY "-" CACHE STRING "Who signs the bundle; - is nobody in particular")
set(sign codesign --force --sign "${QUILLON_SIGNING_IDENTITY}"
    --entitlements "${CMAKE_CURRENT_LIST_DIR}/Quillon.entitlements")
# Else what the user has allowed would be lost at each build: without an identity the system knows a
# program by its checksum only.
if(QUILLON_SIGNING_IDENTITY STREQUAL "-")
    list(APPEND sign --requirements "${CMAKE_CURRENT_LIST_DIR}/Quillon.requirements")
endif()
add_custom_command(TARGET quillon POST_BUILD
    COMMAND ${sign} "$<TARGET_BUNDLE_DIR:quillon>"
    VERBATIM)

# What is installed has other run paths, which the signature of what was built does not cover.
install(TARGETS quillon BUNDLE DESTINATION .)
list(JOIN sign "\" \"" sign)
install(CODE "
    execute_process(
        COMMAND \"${sign}\" \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/Quillon.app\"
        COMMAND_ERROR_IS_FATAL ANY)")

# For terminals: the bundle's command under its usual name.
install(CODE "
    set(folder \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    file(MAKE_DIRECTORY \"\${folder}\")
    file(CREATE_LINK ../Quillon.app/Contents/Resources/quillon \"\${folder}/quillon\" SYMBOLIC)")
