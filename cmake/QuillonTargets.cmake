# Settings and functions for all targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_OBJCXX_STANDARD 20)
set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_AUTOMOC ON)
# The target autogen: all that moc makes, which is what clang-tidy needs of a build.
set(CMAKE_GLOBAL_AUTOGEN_TARGET ON)
# moc reads only headers of the tree, so it needs no library that the target is linked with.
set(CMAKE_AUTOGEN_ORIGIN_DEPENDS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

# The program finds its own libraries relative to itself, and others (a packaged llama.cpp,
# Homebrew's Qt) at the paths from which they were linked.
set(QUILLON_LLAMA_INSTALL_DIR "${CMAKE_INSTALL_LIBDIR}/quillon")
if(APPLE)
    set(CMAKE_INSTALL_RPATH "@executable_path/../lib" "@executable_path/../Frameworks")
else()
    set(CMAKE_INSTALL_RPATH "$ORIGIN/../${QUILLON_LLAMA_INSTALL_DIR}")
endif()
if(QUILLON_CARRIES_LLAMA)
    set(CMAKE_INSTALL_RPATH_USE_LINK_PATH OFF)
else()
    set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)
endif()

add_library(quillon_options INTERFACE)
target_include_directories(quillon_options INTERFACE "${CMAKE_SOURCE_DIR}")
target_compile_definitions(quillon_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS QT_NO_FOREACH
    QT_NO_URL_CAST_FROM_STRING)
target_compile_options(quillon_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${QUILLON_WARNINGS_AS_ERRORS}>:-Werror>
    $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc>)
if(QUILLON_SANITIZERS)
    # In instrumented code, gcc warns about initialised variables.
    target_compile_options(quillon_options INTERFACE
        -fsanitize=${QUILLON_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer -g
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(quillon_options INTERFACE -fsanitize=${QUILLON_SANITIZERS})
endif()

# quillon_library(agent Safety.cpp …) builds the static library quillon_agent from one folder.
function(quillon_library name)
    add_library(quillon_${name} STATIC ${ARGN})
    target_link_libraries(quillon_${name} PUBLIC quillon_options)
endfunction()

# quillon_link_llama(inference) links a target with llama.cpp. Its headers come before those of
# other libraries: some of these export a package manager's whole include folder, which may contain
# the headers of another llama.cpp.
function(quillon_link_llama target)
    target_link_libraries(${target} PRIVATE llama)
    target_include_directories(${target} SYSTEM BEFORE PRIVATE
        $<TARGET_PROPERTY:llama,INTERFACE_INCLUDE_DIRECTORIES>)
endfunction()
