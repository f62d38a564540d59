#!/bin/sh
# Tests the harness itself.
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"

# refuses COMMAND…: passes if the expectation fails.
refuses()
{
    if ("$@") 2>/dev/null; then
        fail_test "accepted: $*"
    fi
}

fails() { fail_test "on purpose"; }
succeeds() { :; }

test_a_failing_test_fails_the_run()
{
    refuses run_tests fails
    refuses run_tests succeeds fails
    refuses run_tests
    (run_tests succeeds) >/dev/null
}

test_expectations_that_do_not_hold_fail()
{
    stand_in spoken <<'END'
exit 3
END
    # shellcheck disable=SC2016 # expands when the script runs
    printf '#!/bin/sh\nspoken once\nstatus=$?\necho first >&2\necho last >&2\nexit $status\n' \
        >"$sandbox/tree/scripts/sample"
    chmod +x "$sandbox/tree/scripts/sample"
    run_script sample
    expect_status 3
    expect_last_line last
    expect_said first
    expect_called "spoken once"
    expect_file "$sandbox/tree/scripts/sample"
    refuses expect_status 0
    refuses expect_last_line first
    refuses expect_said second
    refuses expect_called "spoken twice"
    refuses expect_no_call spoken
    refuses expect_file "$sandbox/missing"
}

test_tools_of_the_machine_are_out_of_reach()
{
    printf '#!/bin/sh\ncommand -v apt-get || command -v brew || command -v curl || exit 5\n' \
        >"$sandbox/tree/scripts/sample"
    chmod +x "$sandbox/tree/scripts/sample"
    run_script sample
    expect_status 5
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
