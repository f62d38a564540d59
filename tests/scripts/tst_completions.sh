#!/bin/sh
# What the shells offer when the program's arguments are completed, in the shells themselves.
#   tst_completions.sh CHECKOUT PROGRAM
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"

program=$2
completions=$checkout/packaging/completions

# Every option that the program's help names, one a line, sorted.
options()
{
    QT_QPA_PLATFORM=offscreen "$program" --help | grep -oE -- '--[a-z-]+[a-z]' | sort -u |
        grep -vx -- --help-all
}

# in_bash WORDS…: what is offered for the last of them.
in_bash()
{
    # shellcheck disable=SC2016 # expands there
    bash --noprofile --norc -c '. "$0" && COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) && _quillon &&
        printf "%s\n" "${COMPREPLY[@]}"' "$completions/quillon.bash" "$@" | sort -u
}

# in_fish LINE: what is offered at its end, without the descriptions.
in_fish()
{
    fish --no-config -c "source '$completions/quillon.fish'; complete -C \"$1\"" | cut -f 1 | sort -u
}

# expect WANTED FOUND
expect()
{
    [ "$1" = "$2" ] || fail_test "wanted: $(printf '%s' "$1" | tr '\n' ' ')- offered: $(printf '%s' "$2" |
        tr '\n' ' ')"
}

test_every_option_is_offered()
{
    [ "$(options | wc -l)" -ge 8 ] || fail_test "the help names too few"
    expect "$(options)" "$(in_bash quillon --)"
    expect "$(options)" "$(in_fish 'quillon --' | grep '^--')"
    expect "$(options)" "$(grep -oE -- '--[a-z]+' "$completions/_quillon" | sort -u)"
}

test_a_model_is_removed_by_its_id()
{
    expect remove "$(in_bash quillon --models '')"
    expect remove "$(in_fish 'quillon --models ')"
    ids=$(printf 'llama3.2-3b\nqwen2.5-1.5b')
    expect "$ids" "$(in_bash quillon --models remove '')"
    expect "$ids" "$(in_fish 'quillon --models remove ')"
    expect qwen2.5-1.5b "$(in_bash quillon --models remove q)"
    for id in $ids; do
        grep -qF "\"$id\"" "$checkout/models/LocalModel.cpp" || fail_test "there is no model $id"
        grep -qF "$id" "$completions/_quillon" || fail_test "zsh does not offer $id"
    done
}

test_files_of_models_are_offered()
{
    cd "$sandbox"
    mkdir folder
    touch "a model.gguf" text.txt
    expect "$(printf 'a model.gguf\nfolder')" "$(in_bash quillon --import '' |
        grep -vE '^(home dir|tools|fakes|tree)$')"
}

test_a_task_is_typed_by_the_user()
{
    expect "" "$(in_bash quillon --task '')"
    expect "" "$(in_bash quillon 'Fi')"
    expect "" "$(in_fish 'quillon Fi')"
}

test_zsh_can_read_it()
{
    zsh -f -n "$completions/_quillon" >"$sandbox/out" 2>"$sandbox/err" || fail_test "zsh objects"
    [ ! -s "$sandbox/err" ] || fail_test "zsh says something"
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
