# shellcheck shell=sh disable=SC2034 # variables are shared with the tests
# Shared by the tests of the shell scripts. A test is a function test_…; each runs in a subshell
# with its own sandbox: a copy of scripts/ and of the files that they read, a home folder, and a
# PATH on which tools that would change the machine or use the network are replaced by fakes. These
# work within the sandbox and record their calls.

set -eu

checkout=${1:?the root of the checkout}
work=$(mktemp -d "${TMPDIR:-/tmp}/quillon-scripts.XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'exit 143' INT TERM HUP

# Tools that the scripts may use unchanged.
real_tools="awk basename cat chmod cp cut dirname env expr find grep gzip head kill ln ls mkdir mktemp
mv printf ps readlink rm sed sh sha256sum shasum sleep sort tail tar touch tr wc"

# make_sandbox NAME
make_sandbox()
{
    sandbox=$(mktemp -d "$work/$1.XXXXXX")
    mkdir -p "$sandbox/tools" "$sandbox/fakes" "$sandbox/home dir" "$sandbox/tree"
    for tool in $real_tools; do
        where=$(command -v "$tool" || true)
        case $where in /*) ln -s "$where" "$sandbox/tools/$tool" ;; esac
    done
    cp -R "$checkout/scripts" "$sandbox/tree/scripts"
    cp "$checkout/CMakeLists.txt" "$sandbox/tree"
    calls=$sandbox/calls
    : >"$calls"
    export sandbox calls
}

# stand_in NAME: creates a fake tool in the sandbox; its body is read from standard input.
stand_in()
{
    {
        # shellcheck disable=SC2016 # expands when the stand-in runs
        printf '#!/bin/sh\nprintf "%%s\\n" "%s $*" >>"$calls"\n' "$1"
        cat
    } >"$sandbox/fakes/$1"
    chmod +x "$sandbox/fakes/$1"
}

# run_script NAME ARGUMENTS… leaves $status, $sandbox/out and $sandbox/err. $extra_environment is
# for env: NAME=VALUE words, or -u NAME.
run_script()
{
    script=$1
    shift
    status=0
    # shellcheck disable=SC2086 # words for env
    env -u XDG_CACHE_HOME -u CMAKE_PREFIX_PATH -u CXX \
        HOME="$sandbox/home dir" PATH="$sandbox/fakes:$sandbox/tools" env ${extra_environment-} \
        "$sandbox/tree/scripts/$script" "$@" \
        >"$sandbox/out" 2>"$sandbox/err" </dev/null || status=$?
}

fail_test()
{
    printf '    %s\n' "$*" >&2
    [ ! -s "$sandbox/err" ] || sed 's/^/    stderr: /' "$sandbox/err" >&2
    exit 1
}

expect_status()
{
    [ "$status" -eq "$1" ] || fail_test "exit status $status instead of $1"
}

# expect_last_line TEXT: checks the last line of the script's messages.
expect_last_line()
{
    [ "$(tail -n 1 "$sandbox/err")" = "$1" ] || fail_test "the last line is not: $1"
}

expect_said()
{
    grep -qF -- "$1" "$sandbox/err" || fail_test "never said: $1"
}

expect_called()
{
    grep -qxF -- "$1" "$calls" || fail_test "never called: $1 (but: $(cat "$calls"))"
}

# expect_no_call PREFIX…
expect_no_call()
{
    for prefix in "$@"; do
        ! grep -q "^$prefix" "$calls" || fail_test "was called: $(grep "^$prefix" "$calls")"
    done
}

expect_file()
{
    [ -f "$1" ] || fail_test "there is no file $1"
}

# run_tests NAME…: runs the tests; the exit status tells whether all passed.
run_tests()
{
    passed=0
    failed=0
    for test in "$@"; do
        if (make_sandbox "$test" && "$test"); then
            passed=$((passed + 1))
        else
            printf 'FAIL %s\n' "$test" >&2
            failed=$((failed + 1))
        fi
    done
    printf '%s passed, %s failed\n' "$passed" "$failed"
    [ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
}

# Prints the functions test_… of a file, in order.
tests_in()
{
    sed -n 's/^\(test_[a-z0-9_]*\)()$/\1/p' "$1"
}
