#!/bin/sh
# Tests scripts/run and scripts/build on a prepared machine.
# shellcheck disable=SC1111,SC2016 # quotation marks of a task, and text that must not expand
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"
# shellcheck source=tests/scripts/machine.sh
. "$(dirname "$0")/machine.sh"

test_the_program_gets_the_arguments_and_has_stdout_to_itself()
{
    make_debian
    run_script run --task "Open  the “latest” PDF" '' '$HOME *'
    [ "$(cat "$sandbox/out")" = '[--task][Open  the “latest” PDF][][$HOME *]' ] ||
        fail_test "on stdout: $(cat "$sandbox/out")"
    # The program's own exit status.
    expect_status 7
}

test_a_model_that_the_user_has_is_taken_first()
{
    make_debian
    run_script setup
    cat >"$sandbox/fakes/cmake" <<'END'
#!/bin/sh
mkdir -p "$sandbox/tree/build/release/app"
printf '#!/bin/sh\nprintf "[%%s]" "$@"\n' >"$sandbox/tree/build/release/app/quillon"
chmod +x "$sandbox/tree/build/release/app/quillon"
END
    run_script run --model "my model.gguf" --task "Do it"
    expect_status 0
    expect_last_line "[--import][my model.gguf]"
    [ "$(cat "$sandbox/out")" = '[--task][Do it]' ] || fail_test "on stdout: $(cat "$sandbox/out")"
}

test_a_model_that_is_refused_ends_it()
{
    make_debian
    run_script run --model other.gguf
    expect_status 1
    expect_last_line "[--import][other.gguf]"
    [ ! -s "$sandbox/out" ] || fail_test "on stdout: $(cat "$sandbox/out")"
    run_script run --model
    expect_status 1
    expect_last_line "scripts/run: --model is followed by a file."
}

test_a_second_run_says_nothing_and_asks_no_network()
{
    make_debian
    run_script run
    : >"$calls"
    run_script run
    expect_status 7
    [ ! -s "$sandbox/err" ] || fail_test "it spoke"
    expect_no_call apt-get curl npm
}

test_the_program_runs_where_the_user_is()
{
    make_debian
    run_script run
    mkdir "$sandbox/elsewhere"
    cat >"$sandbox/fakes/cmake" <<'END'
#!/bin/sh
printf '#!/bin/sh\npwd\n' >"$sandbox/tree/build/release/app/quillon"
END
    cd "$sandbox/elsewhere"
    run_script run
    expect_status 0
    [ "$(cat "$sandbox/out")" = "$sandbox/elsewhere" ] || fail_test "it ran in $(cat "$sandbox/out")"
}

test_a_build_that_fails_shows_its_messages_and_one_sentence()
{
    make_debian
    run_script setup
    : >"$sandbox/broken"
    run_script run
    expect_status 1
    expect_said "error: no such header"
    expect_last_line "scripts/run: Quillon could not be built."
    [ ! -s "$sandbox/out" ] || fail_test "on stdout: $(cat "$sandbox/out")"
}

test_nothing_runs_where_setup_fails()
{
    make_debian
    : >"$sandbox/offline"
    run_script run
    expect_status 1
    expect_last_line "scripts/setup: Not all packages could be installed: check the internet connection and run this again."
}

test_a_build_starts_afresh_with_another_llama()
{
    make_debian
    run_script setup
    run_script build release
    expect_status 0
    : >"$calls"
    run_script build release
    expect_status 0
    ! grep -q -- --fresh "$calls" || fail_test "it started afresh with the same llama.cpp"
    printf 'second' >"$sandbox/cpu"
    run_script setup
    run_script build release --target quillon
    expect_status 0
    grep -q '^cmake --preset release --fresh ' "$calls" || fail_test "it mixes two of them"
    expect_called "cmake --build build/release --target quillon"
}

test_the_chosen_llama_comes_before_every_other_one()
{
    make_debian
    run_script setup
    stand_in cmake <<'END'
[ "$1" != --preset ] || printf '%s\n' "$CMAKE_PREFIX_PATH" >"$sandbox/prefixes"
END
    extra_environment="CMAKE_PREFIX_PATH=/opt/some:/opt/other"
    run_script build release
    case $(cat "$sandbox/prefixes") in
    "$sandbox/home dir/.cache/quillon/llama-"*:/opt/some:/opt/other) ;;
    *) fail_test "the order is $(cat "$sandbox/prefixes")" ;;
    esac
}

test_a_build_without_setup_says_what_to_do()
{
    make_debian
    run_script build
    expect_status 1
    expect_last_line "scripts/build: Run scripts/setup first: llama.cpp is not there yet."
}

test_a_package_is_built_with_the_llama_that_it_carries()
{
    make_debian
    run_script setup
    run_script build package
    expect_status 1
    expect_last_line "scripts/build: Run scripts/package first: llama.cpp is not there yet."
    portable=$(
        root=$sandbox/tree HOME="$sandbox/home dir" PATH="$sandbox/fakes:$sandbox/tools"
        # shellcheck source=scripts/lib/common.sh
        . "$root/scripts/lib/common.sh"
        # shellcheck source=scripts/lib/llama.sh
        . "$root/scripts/lib/llama.sh"
        llama_kind=portable
        llama_dir
    )
    mkdir -p "$portable"
    : >"$portable/llama-config.cmake"
    run_script build package
    expect_status 0
    grep -qF -- "-Dllama_DIR:PATH=$portable " "$calls" || fail_test "it was built with another one"
}

test_a_folder_that_cannot_be_built_in_is_named()
{
    make_debian
    run_script setup
    : >"$sandbox/tree/build"
    run_script run
    expect_status 1
    expect_last_line "scripts/run: Cannot write to $sandbox/tree/build."
}

# started PROCESS: prints the start time by which a lock identifies the process.
started()
{
    (
        # shellcheck disable=SC2034 # for common.sh
        root=$sandbox/tree HOME=$sandbox
        # shellcheck source=scripts/lib/common.sh
        . "$root/scripts/lib/common.sh"
        birth "$1"
    )
}

test_who_waits_for_another_script_is_told_so()
{
    make_debian
    run_script setup
    mkdir "$sandbox/tree/build"
    sleep 600 &
    holder=$!
    ln -s "$holder-$(started "$holder")" "$sandbox/tree/build/lock-release"
    run_script run &
    waiting=$!
    until grep -qs 'Another script is building here; waiting for it.' "$sandbox/err"; do
        sleep 0.05
    done
    kill "$holder"
    wait "$waiting" || fail_test "it gave up"
    [ -x "$sandbox/tree/build/release/app/quillon" ] || fail_test "nothing was built"
    [ ! -L "$sandbox/tree/build/lock-release" ] || fail_test "the lock is still there"
}

test_a_dead_scripts_lock_holds_nobody_up_even_where_its_number_lives_on()
{
    make_debian
    run_script setup
    mkdir "$sandbox/tree/build"
    for owner in "$$-1" "$$" 999999999-1; do
        ln -s "$owner" "$sandbox/tree/build/lock-release"
        run_script run
        expect_status 7
        ! grep -q 'Another script' "$sandbox/err" || fail_test "it waited for $owner"
        [ ! -L "$sandbox/tree/build/lock-release" ] || fail_test "the lock is still there"
    done
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
