# The small model that comes along: a base, which scripts/setup fetches, with the difference that was
# learnt in training/. QUILLON_SMALL_MODEL is its file, or empty if there is no base.

# With the prompt's source and not its library, since the model is made again when this program is.
add_executable(make-small-model
    "${CMAKE_CURRENT_LIST_DIR}/make-small-model.cpp" "${CMAKE_SOURCE_DIR}/agent/SystemPrompt.cpp")
target_link_libraries(make-small-model PRIVATE quillon_options Qt6::Core)
quillon_link_llama(make-small-model)
# Fused operations, on processors that have them, round once instead of twice and would change the
# result.
target_compile_options(make-small-model PRIVATE -ffp-contract=off)
set_target_properties(make-small-model PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/packaging")

set(QUILLON_SMALL_BASE "" CACHE FILEPATH
    "The base of the small model, which scripts/setup fetches; without it no model comes along")
set(QUILLON_SMALL_MODEL "")
if(QUILLON_SMALL_BASE)
    # At the same place relative to the program as when it is installed.
    set(QUILLON_SMALL_MODEL "${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_DATADIR}/quillon/small-model.gguf")
    set(digest_file "${CMAKE_CURRENT_LIST_DIR}/small-model.sha256")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${digest_file}")
    file(STRINGS "${digest_file}" digest)
    add_custom_command(OUTPUT "${QUILLON_SMALL_MODEL}"
        COMMAND "${CMAKE_COMMAND}" -E make_directory "${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_DATADIR}/quillon"
        COMMAND make-small-model "${QUILLON_SMALL_BASE}" "${CMAKE_CURRENT_LIST_DIR}/difference.gguf"
            "${QUILLON_SMALL_MODEL}" ${digest}
        DEPENDS make-small-model "${QUILLON_SMALL_BASE}"
            "${CMAKE_CURRENT_LIST_DIR}/difference.gguf" "${digest_file}"
        VERBATIM)
    add_custom_target(quillon-small-model ALL DEPENDS "${QUILLON_SMALL_MODEL}")
    if(NOT APPLE)
        install(FILES "${QUILLON_SMALL_MODEL}" DESTINATION "${CMAKE_INSTALL_DATADIR}/quillon")
    endif()
endif()
