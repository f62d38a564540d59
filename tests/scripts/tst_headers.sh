#!/bin/sh
# Checks that the compiler uses our llama.cpp's headers even if another library's folder has others.
#   tst_headers.sh CHECKOUT BUILD-FOLDER
# shellcheck disable=SC2154 # variables come from harness.sh
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"
build=$2

# cached NAME: prints the variable of the build's cache.
cached()
{
    sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"
}

# A package manager's prefix, with the headers of another llama.cpp, which QCoro exports as a whole.
make_prefix()
{
    mkdir -p "$sandbox/prefix/include" "$sandbox/prefix/lib/cmake/QCoro6"
    for header in llama.h ggml.h ggml-backend.h ggml-cpu.h gguf.h; do
        echo '#error "another llama.cpp"' >"$sandbox/prefix/include/$header"
    done
    package=$sandbox/prefix/lib/cmake/QCoro6
    cat >"$package/QCoro6Config.cmake" <<END
include("$(cached QCoro6_DIR)/QCoro6Config.cmake")
set_property(TARGET QCoro6::Core APPEND PROPERTY
    INTERFACE_INCLUDE_DIRECTORIES "$sandbox/prefix/include")
END
    cp "$(cached QCoro6_DIR)/QCoro6ConfigVersion.cmake" "$package"
}

test_headers_of_another_llama_are_not_seen()
{
    make_prefix
    cmake -S "$checkout" -B "$sandbox/build" -G Ninja -DQUILLON_TESTS=OFF \
        -DCMAKE_CXX_COMPILER="$(cached CMAKE_CXX_COMPILER)" -DQCoro6_DIR="$package" \
        -Dllama_DIR="$(cached llama_DIR)" -Dggml_DIR="$(cached ggml_DIR)" >"$sandbox/err" 2>&1 ||
        fail_test "it could not be configured"
    n=0
    for file in $(cd "$checkout" && grep -lE '#include [<"](llama|ggml|gguf)' inference/*.cpp); do
        command=$(sed -n "s|^ *\"command\": \"\\(.*/$file\\)\",*\$|\\1|p" "$sandbox/build/compile_commands.json")
        case $command in
        *"$sandbox/prefix/include"*) ;;
        *) fail_test "the other folder is not among $file's" ;;
        esac
        # Only preprocesses; the last arguments are the object file and the source.
        status=0
        (cd "$sandbox/build" && ${command%% -o *} -E -o /dev/null "$checkout/$file") \
            2>"$sandbox/err" || status=$?
        expect_status 0
        n=$((n + 1))
    done
    [ "$n" -gt 0 ] || fail_test "no file includes llama.cpp"
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
