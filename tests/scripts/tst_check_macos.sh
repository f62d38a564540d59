#!/bin/sh
# Which files scripts/check-macos compiles, and what it says of those that do not compile. The compiler is
# a stand-in: whether the real one is content is not asked here.
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"
build=${2:?the build folder}

# check ARGUMENTS… leaves $status, $sandbox/out, $sandbox/err and $calls.
check()
{
    mkdir -p "$sandbox/sdk/Frameworks/AppKit.framework" "$sandbox/sdk/include"
    [ -f "$sandbox/objection" ] || echo none >"$sandbox/objection"
    stand_in clang++-19 <<'END'
for source in "$@"; do :; done
case $source in *"$(cat "$sandbox/objection")") echo "$source:1:1: error: no" && exit 1 ;; esac
END
    status=0
    PATH=$sandbox/fakes:$PATH PYTHONDONTWRITEBYTECODE=1 "$checkout/scripts/check-macos" "$sandbox/sdk" \
        --build "$build" "$@" >"$sandbox/out" 2>"$sandbox/err" </dev/null || status=$?
}

test_every_file_of_macos_is_compiled_and_none_of_linux()
{
    check
    expect_status 0
    for file in "$checkout"/platform/macos/*.cpp "$checkout"/platform/macos/*.mm "$checkout"/agent/*.cpp \
        "$checkout"/models/*.cpp "$checkout"/tests/platform/macos/*.cpp "$checkout"/tests/agent/*.cpp; do
        grep -q -- " $file\$" "$calls" || fail_test "not compiled: $file"
    done
    ! grep -q '/linux/[^ ]*$' "$calls" || fail_test "compiled: $(grep '/linux/[^ ]*$' "$calls" | head -n 1)"
}

test_a_file_that_does_not_compile_is_named()
{
    echo platform/macos/MacShell.mm >"$sandbox/objection"
    check platform/macos/MacShell.mm models/LocalModel.cpp
    expect_status 1
    [ "$(wc -l <"$calls")" -eq 2 ] || fail_test "$(wc -l <"$calls") files instead of 2"
    grep -qF 'MacShell.mm:1:1: error: no' "$sandbox/out" || fail_test "the error was kept back"
    grep -qxF 'Qt of /: 1 of 2 files pass.' "$sandbox/out" || fail_test "the count is wrong"
}

test_what_macos_does_not_compile_is_refused()
{
    check platform/linux/LinuxPlatform.cpp
    expect_status 1
    expect_last_line "macOS does not compile platform/linux/LinuxPlatform.cpp."
    # A loop of its CMakeLists.txt names this one.
    check tests/app/tst_PanelOnDesktop.cpp
    expect_status 1
    expect_last_line "macOS does not compile tests/app/tst_PanelOnDesktop.cpp."
}

test_without_an_sdk_it_says_so()
{
    mkdir -p "$sandbox/empty"
    status=0
    "$checkout/scripts/check-macos" "$sandbox/empty" 2>"$sandbox/err" || status=$?
    expect_status 1
    expect_last_line "There is no SDK at $sandbox/empty."
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
