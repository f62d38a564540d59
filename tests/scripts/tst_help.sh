#!/bin/sh
# Tests that the scripts for developers tell what they are for instead of starting it.
# shellcheck disable=SC2154 # variables come from harness.sh
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"

# expect_help NAME OPTION: uname is the only tool of the sandbox that is not for texts and files, so
# whatever else was started would fail.
expect_help()
{
    run_script "$1" "$2"
    expect_status 0
    [ "$(head -n 1 "$sandbox/out")" = "$(sed -n '2s/^# //p' "$sandbox/tree/scripts/$1")" ] ||
        fail_test "scripts/$1 $2 says: $(cat "$sandbox/out")"
    ! grep -q '^root=' "$sandbox/out" || fail_test "scripts/$1 $2 printed code"
    [ ! -s "$sandbox/err" ] || fail_test "scripts/$1 $2 complained"
}

test_every_script_explains_itself()
{
    echo 'echo Linux' | stand_in uname
    for name in build coverage lint live package setup test; do
        expect_help "$name" --help
        expect_help "$name" -h
    done
}

# scripts/run hands its arguments to the program, which has a help of its own.
test_no_other_script_is_left_out()
{
    for script in "$sandbox"/tree/scripts/*; do
        [ -f "$script" ] || continue
        case ${script##*/} in run) continue ;; esac
        head -n 1 "$script" | grep -q '/sh$' || continue
        grep -qxF 'help_if_asked "$@"' "$script" || fail_test "${script##*/} has no help"
    done
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
