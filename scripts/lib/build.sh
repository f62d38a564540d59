# shellcheck shell=sh disable=SC2154 # variables come from common.sh
# Configures and builds. Reads common.sh, llama.sh and small_model.sh first.

# build_preset PRESET [arguments of cmake --build…]
build_preset()
{
    preset=$1
    shift
    folder=$root/build/$preset
    lock "$root/build/lock-$preset" "Another script is building here; waiting for it."

    llama=$(llama_dir)
    fresh=
    # CMake caches the parts of a llama.cpp separately and would mix two of them.
    if [ -f "$folder/CMakeCache.txt" ] &&
        ! grep -qxF "llama_DIR:PATH=$llama" "$folder/CMakeCache.txt"; then
        fresh=--fresh
    fi
    languages=CXX
    ! on_macos || languages="CXX OBJCXX"
    launchers=
    for language in $languages; do
        launchers="$launchers -DCMAKE_${language}_COMPILER_LAUNCHER=$(command -v ccache || true)"
    done
    # llama.cpp's package looks for its own libraries in these folders, in this order: its own
    # folder comes first, before another library of the same name.
    prefixes=${llama%/lib*/cmake/llama}${CMAKE_PREFIX_PATH:+:$CMAKE_PREFIX_PATH}
    ! on_macos || prefixes=$prefixes:$(brew --prefix)

    # Set in CI. For users, a newer compiler's warnings are no errors.
    strict=
    [ -z "${QUILLON_STRICT-}" ] || strict=-DQUILLON_WARNINGS_AS_ERRORS=ON

    # shellcheck disable=SC2086 # options or nothing
    (cd "$root" && CMAKE_PREFIX_PATH=$prefixes cmake --preset "$preset" $fresh \
        $launchers $strict -Dllama_DIR:PATH="$llama" -Dggml_DIR:PATH="${llama%/llama}/ggml" \
        -DQUILLON_SMALL_BASE:FILEPATH="$(small_base)" &&
        cmake --build "build/$preset" "$@")
    result=$?
    unlock
    return "$result"
}
