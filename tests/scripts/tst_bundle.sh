#!/bin/sh
# Tests packaging/macos/complete-bundle with real Mach-O files.
# shellcheck disable=SC2154 # variables come from harness.sh
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"

# tool NAME…: prints the first of these that exists, also with the version that distributions
# append.
tool()
{
    for name in "$@"; do
        for candidate in "$name" "$name-19" "$name-20" "$name-18" "$name-17"; do
            ! command -v "$candidate" 2>/dev/null || return 0
        done
    done
    echo "The tests need $1: scripts/setup --tests installs it." >&2
    exit 1
}
# LLVM's tools have the same options as Apple's.
if [ "$(uname -s)" = Darwin ]; then
    assemble="as -arch arm64"
    link="ld -arch arm64 -lSystem -syslibroot $(xcrun --sdk macosx --show-sdk-path)"
    otool=$(command -v otool)
    install_name_tool=$(command -v install_name_tool)
else
    assemble="$(tool llvm-mc) -triple=arm64-apple-macos13 -filetype=obj"
    link="$(tool ld64.lld) -arch arm64"
    otool=$(tool llvm-otool)
    install_name_tool=$(tool llvm-install-name-tool)
fi

# code FILE NAME [LIBRARIES AND OPTIONS…]: builds a library with that install name.
code()
{
    made=$1
    name=$2
    shift 2
    mkdir -p "${made%/*}"
    printf '.globl _%s\n_%s:\n ret\n' "$(basename "$name" | tr -cd 'A-Za-z0-9')" \
        "$(basename "$name" | tr -cd 'A-Za-z0-9')" >"$sandbox/code.s"
    $assemble "$sandbox/code.s" -o "$sandbox/code.o"
    $link -platform_version macos 13.0 14.0 -dylib -headerpad_max_install_names \
        -install_name "$name" -o "$made" "$sandbox/code.o" "$@"
}

# program FILE [LIBRARIES AND OPTIONS…]
program()
{
    made=$1
    shift
    mkdir -p "${made%/*}"
    printf '.globl _main\n_main:\n ret\n' >"$sandbox/code.s"
    $assemble "$sandbox/code.s" -o "$sandbox/code.o"
    $link -platform_version macos 13.0 14.0 -headerpad_max_install_names -e _main \
        -o "$made" "$sandbox/code.o" "$@"
}

# Homebrew with three libraries and a framework, and a bundle as macdeployqt leaves it: it contains
# what the program loads, but not what that loads relative to itself.
make_bundle()
{
    brew=$sandbox/brew
    bundle="$sandbox/my place/Quillon.app"
    contents=$bundle/Contents
    stand_in brew <<END
echo "$brew"
END
    ln -s "$otool" "$sandbox/tools/otool"
    ln -s "$install_name_tool" "$sandbox/tools/install_name_tool"
    ln -s "$(command -v od)" "$sandbox/tools/od"
    code "$brew/opt/data/lib/libdata.1.dylib" @loader_path/libdata.1.dylib
    code "$brew/opt/text/lib/libtext.1.dylib" "$brew/opt/text/lib/libtext.1.dylib" \
        "$brew/opt/data/lib/libdata.1.dylib"
    code "$brew/opt/qt/lib/QtShapes.framework/Versions/A/QtShapes" \
        @rpath/QtShapes.framework/Versions/A/QtShapes
    code "$contents/Frameworks/libtext.1.dylib" @executable_path/../Frameworks/libtext.1.dylib \
        "$brew/opt/data/lib/libdata.1.dylib"
    program "$contents/MacOS/Quillon" "$contents/Frameworks/libtext.1.dylib" -rpath "$brew/lib"
    # Not all files of a bundle are code.
    mkdir "$contents/Resources"
    echo text >"$contents/Resources/manual"
    : >"$contents/Resources/empty"
}

run_complete()
{
    status=0
    env PATH="$sandbox/fakes:$sandbox/tools" TMPDIR="$sandbox" \
        sh "$checkout/packaging/macos/complete-bundle" "$@" >"$sandbox/out" 2>"$sandbox/err" ||
        status=$?
    [ -z "$(find "$sandbox" -name 'quillon-bundle*')" ] || fail_test "it left its scratch folder behind"
}

# expect_loads FILE LIBRARY…
expect_loads()
{
    file=$1
    shift
    # A library names itself first; a program does not.
    own=yes
    case $file in */MacOS/*) own= ;; esac
    "$otool" -L "$file" | sed -n 's/^[[:space:]]*\(.*\) (compatibility.*/\1/p' |
        sed "${own:+1d}" | grep -v '^/usr/lib/' >"$sandbox/found"
    printf '%s\n' "$@" >"$sandbox/expected"
    cmp -s "$sandbox/expected" "$sandbox/found" ||
        fail_test "$file loads $(tr '\n' ' ' <"$sandbox/found")"
}

carried=@executable_path/../Frameworks

test_what_a_library_names_by_its_own_place_is_brought()
{
    make_bundle
    # As in Homebrew's bottles; macdeployqt ignores it.
    expect_loads "$contents/Frameworks/libtext.1.dylib" @loader_path/libdata.1.dylib
    run_complete "$bundle/"
    expect_status 0
    expect_file "$contents/Frameworks/libdata.1.dylib"
    expect_loads "$contents/Frameworks/libtext.1.dylib" $carried/libdata.1.dylib
    [ "$("$otool" -D "$contents/Frameworks/libdata.1.dylib" | tail -n 1)" = $carried/libdata.1.dylib ] ||
        fail_test "the library has another name"
    expect_loads "$contents/MacOS/Quillon" $carried/libtext.1.dylib
}

test_folders_of_this_machine_are_forgotten()
{
    make_bundle
    run_complete "$bundle"
    expect_status 0
    ! "$otool" -l "$contents/MacOS/Quillon" | grep -F "$brew" || fail_test "it looks into Homebrew"
}

test_plugins_bring_libraries_that_need_more()
{
    make_bundle
    rm "$contents/Frameworks/libtext.1.dylib"
    code "$contents/PlugIns/platforms/plug in.dylib" "plug in.dylib" \
        "$brew/opt/text/lib/libtext.1.dylib" \
        "$brew/opt/qt/lib/QtShapes.framework/Versions/A/QtShapes" -rpath "$brew/opt/qt/lib"
    run_complete "$bundle"
    expect_status 0
    expect_loads "$contents/PlugIns/platforms/plug in.dylib" \
        $carried/libtext.1.dylib $carried/QtShapes.framework/Versions/A/QtShapes
    expect_loads "$contents/Frameworks/libtext.1.dylib" $carried/libdata.1.dylib
    expect_file "$contents/Frameworks/QtShapes.framework/Versions/A/QtShapes"
    ! "$otool" -l "$contents/PlugIns/platforms/plug in.dylib" | grep -F "$brew" ||
        fail_test "it looks into Homebrew"
}

test_a_whole_bundle_stays_as_it_is()
{
    make_bundle
    run_complete "$bundle"
    find "$contents" -type f -exec cksum {} + | sort >"$sandbox/before"
    run_complete "$bundle"
    expect_status 0
    find "$contents" -type f -exec cksum {} + | sort | cmp -s - "$sandbox/before" ||
        fail_test "it was changed"
}

test_what_the_machine_does_not_have_is_a_failure()
{
    make_bundle
    rm -r "$brew/opt/data"
    run_complete "$bundle"
    expect_status 1
    expect_last_line "complete-bundle: Contents/Frameworks/libtext.1.dylib needs @loader_path/libdata.1.dylib, which this machine does not have."
}

test_what_cannot_be_changed_is_a_failure()
{
    make_bundle
    rm "$sandbox/tools/install_name_tool"
    stand_in install_name_tool <<'END'
exit 1
END
    run_complete "$bundle"
    expect_status 1
    expect_last_line "complete-bundle: libtext.1.dylib cannot be told where libdata.1.dylib is."
    # The tool succeeds without doing anything.
    stand_in install_name_tool </dev/null
    rm "$contents/Frameworks/libdata.1.dylib"
    run_complete "$bundle"
    expect_status 1
    expect_last_line "complete-bundle: libtext.1.dylib still looks for @loader_path/libdata.1.dylib."
}

test_it_takes_a_bundle_and_nothing_else()
{
    run_complete "$sandbox"
    expect_status 1
    expect_last_line "complete-bundle: It takes a bundle."
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
