#!/bin/sh
# Checks the layers of this tree, and that violations are found.
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"

# make_folders: creates a tree with one valid file in each folder.
make_folders()
{
    for folder in base platform/linux inference models agent/action executor agent app ui; do
        mkdir -p "$sandbox/tree/$folder"
        printf '#include "base/Text.h"\n#include <QString>\n' >"$sandbox/tree/$folder/File.cpp"
    done
}

# look: runs the check; sets $status and writes $sandbox/out.
look()
{
    status=0
    (
        root=$sandbox/tree
        # shellcheck source=scripts/lib/layers.sh
        . "$root/scripts/lib/layers.sh"
        check_layers
    ) >"$sandbox/out" 2>"$sandbox/err" || status=$?
}

# expect_found FILE LINE: checks that the line, added to that file, is reported.
expect_found()
{
    look
    expect_status 1
    grep -q "^$1: .* must not use " "$sandbox/out" || fail_test "not found: $1 ($(cat "$sandbox/out"))"
    [ "$(wc -l <"$sandbox/out")" -eq 1 ] || fail_test "more than one: $(cat "$sandbox/out")"
}

test_this_tree_keeps_to_its_layers()
{
    rm -rf "$sandbox/tree"
    ln -s "$checkout" "$sandbox/tree"
    look
    [ "$status" -eq 0 ] || fail_test "$(cat "$sandbox/out")"
}

test_innocent_folders_pass()
{
    make_folders
    look
    expect_status 0
}

test_an_include_that_goes_up_is_found()
{
    make_folders
    printf '#include "agent/AgentSession.h"\n' >>"$sandbox/tree/executor/File.cpp"
    expect_found executor/File.cpp
}

test_an_include_that_goes_sideways_is_found()
{
    make_folders
    printf '#include "platform/Platform.h"\n' >"$sandbox/tree/models/File.h"
    expect_found models/File.h
}

test_an_include_that_skips_a_layer_is_found()
{
    make_folders
    printf '#include "executor/Executor.h"\n' >"$sandbox/tree/ui/File.h"
    expect_found ui/File.h
}

test_the_room_below_the_agent_is_not_the_agent()
{
    make_folders
    printf '#include "agent/action/AgentAction.h"\n' >"$sandbox/tree/executor/File.h"
    look
    expect_status 0
    printf '#include "agent/Safety.h"\n' >"$sandbox/tree/agent/action/File.h"
    expect_found agent/action/File.h
}

test_a_folder_inside_a_folder_belongs_to_it()
{
    make_folders
    printf '#include "app/Panel.h"\n' >"$sandbox/tree/platform/linux/File.h"
    expect_found platform/linux/File.h
}

test_objective_cxx_is_looked_at_too()
{
    make_folders
    printf '#include "app/Panel.h"\n' >"$sandbox/tree/platform/linux/File.mm"
    expect_found platform/linux/File.mm
}

test_a_library_that_goes_up_is_found()
{
    make_folders
    printf 'quillon_library(base File.cpp)\ntarget_link_libraries(quillon_base PRIVATE quillon_agent)\n' \
        >"$sandbox/tree/base/CMakeLists.txt"
    expect_found base/CMakeLists.txt
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
