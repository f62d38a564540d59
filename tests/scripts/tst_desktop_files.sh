#!/bin/sh
# Runs the desktops' validators on the metadata files.
#   tst_desktop_files.sh CHECKOUT PROGRAM BUILD
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"

id=app.quillon.Quillon
linux=$checkout/packaging/linux
program=$2
built=$3/packaging/linux

# accepts COMMAND…: checks that it succeeds without output.
accepts()
{
    "$@" >"$sandbox/out" 2>"$sandbox/err" </dev/null || fail_test "$1 objects: $(cat "$sandbox/out")"
    [ -z "$(cat "$sandbox/out" "$sandbox/err")" ] || fail_test "$1 says: $(cat "$sandbox/out")"
}

test_the_desktop_entry_is_one()
{
    accepts desktop-file-validate "$linux/$id.desktop"
}

test_software_centres_understand_the_description()
{
    appstreamcli validate --no-net "$built/$id.metainfo.xml" >"$sandbox/out" 2>"$sandbox/err" ||
        fail_test "appstreamcli objects: $(cat "$sandbox/out")"
}

test_the_manual_is_well_formed()
{
    accepts mandoc -Tlint -Wwarning "$checkout/packaging/quillon.1"
    accepts env LC_ALL=C.UTF-8 groff -mandoc -Tutf8 -ww -z "$checkout/packaging/quillon.1"
}

test_every_name_is_the_same_everywhere()
{
    grep -qx "Name=$id" "$linux/$id.service.in" || fail_test "the bus has another name"
    grep -qx "Icon=$id" "$linux/$id.desktop" || fail_test "the entry has another icon"
    grep -qx "DBusActivatable=true" "$linux/$id.desktop" || fail_test "the bus cannot start it"
    grep -qF "\"$id\"" "$checkout/platform/linux/desktop/LinuxInstance.cpp" ||
        fail_test "the program has another name on the bus"
    grep -qF "<launchable type=\"desktop-id\">$id.desktop<" "$built/$id.metainfo.xml" ||
        fail_test "the description starts something else"
}

test_the_release_is_the_same_everywhere()
{
    version=$(sed -n 's/^project(Quillon VERSION \([0-9.]*\) .*/\1/p' "$checkout/CMakeLists.txt")
    [ -n "$version" ] || fail_test "there is no version"
    day=$(sed -n 's/^set(QUILLON_RELEASED \(.*\))/\1/p' "$checkout/CMakeLists.txt")
    grep -qx "## $version – $day" "$checkout/CHANGELOG.md" ||
        fail_test "CHANGELOG.md does not know $version of $day"
    grep -qF "<release version=\"$version\" date=\"$day\">" "$built/$id.metainfo.xml" ||
        fail_test "the description does not know $version of $day"
    [ "$("$program" --version)" = "Quillon $version" ] || fail_test "the program has another version"
    [ "$(sed -n '1s/^quillon (\(.*\)) .*/\1/p' "$built/changelog")" = "$version" ] ||
        fail_test "the package's change log has another version"
    grep -q "^ -- .*  ..., $(date --utc --date "$day" '+%d') " "$built/changelog" ||
        fail_test "the package's change log has another day"
}

test_the_manual_knows_every_option()
{
    "$program" --help >"$sandbox/help" 2>"$sandbox/err" || fail_test "no help"
    sed -n 's/^ .*--\([a-z]*\).*/\1/p' "$sandbox/help" | grep -v -e help-all >"$sandbox/options"
    for option in task toggle doctor help version; do
        grep -qx "$option" "$sandbox/options" || fail_test "--$option is gone"
    done
    while read -r option; do
        grep -qF "Fl \\-$option" "$checkout/packaging/quillon.1" ||
            fail_test "the manual does not know --$option"
    done <"$sandbox/options"
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
