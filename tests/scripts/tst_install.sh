#!/bin/sh
# Checks with a real build that the installed program starts wherever it is moved.
#   tst_install.sh CHECKOUT BUILD-FOLDER
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"
build=$2

test_the_installed_program_can_be_moved()
{
    cmake --install "$build" --prefix "$sandbox/first place" >"$sandbox/err" 2>&1 ||
        fail_test "it could not be installed"
    mv "$sandbox/first place" "$sandbox/second place"
    status=0
    # From another folder and without an environment that could help it.
    (cd / && env -i "$sandbox/second place/bin/quillon" --version) >"$sandbox/out" \
        2>"$sandbox/err" || status=$?
    expect_status 0
    grep -q '^Quillon [0-9]' "$sandbox/out" || fail_test "it said: $(cat "$sandbox/out")"
}

test_the_desktop_finds_the_installed_program()
{
    cmake --install "$build" --prefix "$sandbox/place" >"$sandbox/err" 2>&1
    [ ! -d "$sandbox/place/Quillon.app" ] || return 0
    for file in applications/app.quillon.Quillon.desktop \
        bash-completion/completions/quillon fish/vendor_completions.d/quillon.fish \
        zsh/vendor-completions/_quillon \
        dbus-1/services/app.quillon.Quillon.service \
        icons/hicolor/scalable/apps/app.quillon.Quillon.svg \
        man/man1/quillon.1.gz metainfo/app.quillon.Quillon.metainfo.xml; do
        [ -s "$sandbox/place/share/$file" ] || fail_test "$file is missing"
    done
    for size in 16 22 24 32 48 64 128 256 512; do
        # The width and the height in a PNG file.
        icon=$sandbox/place/share/icons/hicolor/${size}x$size/apps/app.quillon.Quillon.png
        [ "$(od -An -tu1 -j16 -N8 "$icon" | awk '{ print $3 * 256 + $4, $7 * 256 + $8 }')" = \
            "$size $size" ] || fail_test "the icon of $size pixels is not"
    done
    grep -qx "Exec=$sandbox/place/bin/quillon --activated" \
        "$sandbox/place/share/dbus-1/services/app.quillon.Quillon.service" ||
        fail_test "the bus would start something else"
}

test_the_keyboard_program_is_installed_with_it()
{
    [ "$(uname)" != Darwin ] || return 0 # no icons there
    cmake --install "$build" --prefix "$sandbox/place" >"$sandbox/err" 2>&1
    status=0
    (cd / && env -i "$sandbox/place/libexec/quillon/quillon-keyboard" </dev/null) \
        >"$sandbox/out" 2>"$sandbox/err" || status=$?
    expect_status 1
    [ "$(cat "$sandbox/out")" = "There is no X server to type on." ] ||
        fail_test "it said: $(cat "$sandbox/out")"
}

test_the_installed_program_names_no_folder_of_the_checkout()
{
    cmake --install "$build" --prefix "$sandbox/place" >"$sandbox/err" 2>&1
    for tool in "readelf -d" "otool -l"; do
        ! command -v "${tool% *}" >/dev/null 2>&1 || break
    done
    program=$sandbox/place/bin/quillon
    [ ! -d "$sandbox/place/Quillon.app" ] ||
        program=$sandbox/place/Quillon.app/Contents/MacOS/Quillon
    $tool "$program" | grep -E 'R(UN)?PATH|path ' >"$sandbox/paths" ||
        fail_test "it has no run path at all"
    grep -qE 'ORIGIN|@executable_path' "$sandbox/paths" ||
        fail_test "it does not look beside itself: $(cat "$sandbox/paths")"
    ! grep -qF "$build" "$sandbox/paths" || fail_test "it looks in $(cat "$sandbox/paths")"
}

test_the_scripts_know_an_installed_llama_when_they_see_one()
{
    package=$(sed -n 's/^llama_DIR:PATH=//p' "$build/CMakeCache.txt")
    prefix=${package%/lib*/cmake/llama}
    # shellcheck disable=SC2034 # for common.sh
    root=$sandbox HOME=$sandbox CMAKE_PREFIX_PATH=$prefix
    # shellcheck source=scripts/lib/common.sh
    . "$checkout/scripts/lib/common.sh"
    # shellcheck source=scripts/lib/llama.sh
    . "$checkout/scripts/lib/llama.sh"
    [ "$(installed_llama)" = "$package" ] || fail_test "$(installed_llama) instead of $package"
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
