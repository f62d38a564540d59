#!/bin/sh
# Tests the steps of packaging/macos/make-dmg, their order, and its messages on failure.
# shellcheck disable=SC2154,SC2016 # variables come from harness.sh; stand-ins expand later
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"

identity='Developer ID Application: Somebody (TEAM)'

# A bundle with a library inside a framework, a plug-in, and fakes of Apple's tools. Deploying Qt
# and creating the image leave marks; the file broken names what is to fail.
make_mac()
{
    bundle="$sandbox/stage dir/Quillon.app"
    mkdir -p "$bundle/Contents/MacOS" "$bundle/Contents/PlugIns"
    # From another folder, without an environment.
    cat >"$bundle/Contents/MacOS/Quillon" <<END
#!$(command -v sh)
PATH=$sandbox/tools
[ ! -f "$sandbox/does not start" ] || exit 134
[ "\$*" = --version ] && [ "\$0" != "$bundle/Contents/MacOS/Quillon" ] && [ -z "\${HOME-}" ] &&
    echo started >>"$sandbox/started"
END
    chmod +x "$bundle/Contents/MacOS/Quillon"
    ln -s "$(command -v od)" "$sandbox/tools/od"
    : >"$bundle/Contents/PlugIns/plug in.dylib"
    for tool in macdeployqt codesign plutil xcrun ditto hdiutil; do
        stand_in $tool <<END
[ "\$(cat "\$sandbox/broken" 2>/dev/null)" != "$tool \$1" ] || exit 1
END
    done
    cat >>"$sandbox/fakes/macdeployqt" <<'END'
mkdir -p "$1/Contents/Frameworks/QtCore.framework/Versions/A"
: >"$1/Contents/Frameworks/libextra.dylib"
END
    # Prints the minimum system of each file; called with many files at once.
    cat >"$sandbox/fakes/otool" <<'END'
#!/bin/sh
[ "$1" = -l ] || exit 1
for file; do
    case $file in
    */Quillon) system=13.0 ;;
    */libextra.dylib) system=14.2 ;;
    *) system=9.5 ;;
    esac
    printf 'Load command 9\n      cmd LC_BUILD_VERSION\n  platform 1\n    minos %s\n      sdk 99.0\n' "$system"
done
END
    chmod +x "$sandbox/fakes/otool"
    mkdir -p "$sandbox/brew/opt/extra/lib" "$sandbox/brew/opt/other/lib"
    : >"$sandbox/brew/opt/extra/lib/libextra.dylib"
    echo 'Copyright Somebody' >"$sandbox/brew/opt/extra/COPYING"
    : >"$sandbox/brew/opt/extra/README"
    : >"$sandbox/brew/opt/other/LICENSE"
    cat >"$sandbox/fakes/brew" <<'END'
#!/bin/sh
echo "$sandbox/brew"
END
    chmod +x "$sandbox/fakes/brew"
    cat >>"$sandbox/fakes/ditto" <<'END'
[ "$1" = -c ] || { mkdir -p "$(dirname "$2")" && cp -R "$1" "$2"; }
END
    # Apple's answer depends on what was submitted; the tool itself always succeeds.
    cat >>"$sandbox/fakes/xcrun" <<'END'
case $2 in
submit)
    printf '{"id":"2efe2717-52ef-43a5-96dc-0797e4ca1041","message":"Processing complete","status":"%s"}\n' \
        "$(cat "$sandbox/answer" 2>/dev/null || echo Accepted)"
    ;;
log) echo '{"issues": [{"message": "The signature is not valid."}]}' ;;
esac
END
    cat >>"$sandbox/fakes/hdiutil" <<'END'
ls "$5" >"$sandbox/in the image"
for image in "$@"; do :; done
: >"$image"
END
}

# make_dmg ARGUMENTS…
make_dmg()
{
    status=0
    env PATH="$sandbox/fakes:$sandbox/tools" TMPDIR="$sandbox" \
        sh "$checkout/packaging/macos/make-dmg" "$@" >"$sandbox/out" 2>"$sandbox/err" || status=$?
    [ -z "$(find "$sandbox" -name 'quillon-dmg*')" ] || fail_test "it left its scratch folder behind"
}

# expect_calls LINE…: checks that there were exactly these calls in this order. SCRATCH is the
# scratch folder.
expect_calls()
{
    printf '%s\n' "$@" >"$sandbox/expected"
    sed -e "s|$sandbox/quillon-dmg\.[A-Za-z0-9]*|SCRATCH|g" "$calls" >"$sandbox/found"
    cmp -s "$sandbox/expected" "$sandbox/found" ||
        fail_test "expected and found: $(diff "$sandbox/expected" "$sandbox/found")"
}

test_a_release_is_signed_from_the_inside_out_and_notarised_twice()
{
    make_mac
    make_dmg "$bundle/" "$sandbox/Quillon.dmg" "$identity" profile
    expect_status 0
    sign="codesign --force --sign $identity --options runtime --timestamp"
    contents=$bundle/Contents
    # The order of the two libraries depends on the folder.
    find "$contents" -name '*.dylib' >"$sandbox/libraries"
    expect_calls \
        "macdeployqt $bundle -qmldir=$checkout/packaging/macos/../../ui -no-strip -verbose=1" \
        "plutil -replace LSMinimumSystemVersion -string 14.2 $contents/Info.plist" \
        "$sign $(sed -n 1p "$sandbox/libraries")" \
        "$sign $(sed -n 2p "$sandbox/libraries")" \
        "$sign $contents/Frameworks/QtCore.framework" \
        "$sign --entitlements $checkout/packaging/macos/Quillon.entitlements $bundle" \
        "codesign --verify --deep --strict $bundle" \
        "ditto $bundle SCRATCH/elsewhere/Quillon.app" \
        "ditto -c -k --keepParent $bundle SCRATCH/bundle.zip" \
        "xcrun notarytool submit SCRATCH/bundle.zip --keychain-profile profile --wait --output-format json" \
        "xcrun stapler staple $bundle" \
        "ditto $bundle SCRATCH/image/Quillon.app" \
        "hdiutil create -volname Quillon -srcfolder SCRATCH/image -fs HFS+ -format UDZO -ov $sandbox/Quillon.dmg" \
        "codesign --force --sign $identity --timestamp $sandbox/Quillon.dmg" \
        "xcrun notarytool submit $sandbox/Quillon.dmg --keychain-profile profile --wait --output-format json" \
        "xcrun stapler staple $sandbox/Quillon.dmg"
    [ "$(cat "$sandbox/in the image")" = 'Applications
Quillon.app' ] || fail_test "in the image: $(cat "$sandbox/in the image")"
}

test_the_licences_of_what_came_with_qt_are_in_the_bundle()
{
    make_mac
    make_dmg "$bundle" "$sandbox/Quillon.dmg" -
    expect_status 0
    licences=$bundle/Contents/Resources/licences
    [ "$(cat "$licences/extra/COPYING")" = 'Copyright Somebody' ] || fail_test "the licence is missing"
    [ "$(find "$licences" -type f | wc -l)" -eq 1 ] || fail_test "there is more: $(find "$licences")"
    ! grep -q 'No licence' "$sandbox/out" || fail_test "it misses one: $(cat "$sandbox/out")"

    rm -r "$licences" "$sandbox/brew/opt/extra/COPYING"
    make_dmg "$bundle" "$sandbox/Quillon.dmg" -
    expect_status 0
    grep -qxF 'No licence comes with extra: put it into Quillon.app/Contents/Resources/licences/extra.' \
        "$sandbox/out" || fail_test "the licence is not missed: $(cat "$sandbox/out")"
}

test_without_an_identity_apple_is_not_asked()
{
    make_mac
    make_dmg "$bundle" "$sandbox/Quillon.dmg" -
    expect_status 0
    expect_no_call xcrun
    ! grep -qE 'timestamp|runtime' "$calls" || fail_test "as if it were signed: $(cat "$calls")"
    expect_called "codesign --force --sign - --entitlements $checkout/packaging/macos/Quillon.entitlements --requirements $checkout/packaging/macos/Quillon.requirements $bundle"
    expect_file "$sandbox/Quillon.dmg"
}

test_without_a_profile_it_is_signed_and_no_more()
{
    make_mac
    make_dmg "$bundle" "$sandbox/Quillon.dmg" "$identity"
    expect_status 0
    expect_no_call xcrun
    expect_called "codesign --force --sign $identity --timestamp $sandbox/Quillon.dmg"
}

test_every_failure_ends_it_in_one_sentence()
{
    make_mac
    while IFS=: read -r call sentence; do
        printf '%s' "$call" | sed "s|BUNDLE|$bundle|" >"$sandbox/broken"
        rm -f "$sandbox/Quillon.dmg"
        make_dmg "$bundle" "$sandbox/Quillon.dmg" "$identity" profile
        expect_status 1
        expect_last_line "make-dmg: $sentence"
    done <<'END'
macdeployqt BUNDLE:macdeployqt could not complete the bundle.
codesign --verify:The signature of Quillon.app does not hold.
plutil -replace:The description of Quillon.app could not be changed.
ditto -c:The bundle could not be packed.
xcrun notarytool:bundle.zip did not reach Apple.
xcrun stapler:The ticket could not be put into the bundle.
ditto BUNDLE:The bundle could not be copied.
hdiutil create:The image could not be made.
END
    # The first file to be signed is a library.
    echo 'codesign --force' >"$sandbox/broken"
    make_dmg "$bundle" "$sandbox/Quillon.dmg" "$identity" profile
    expect_status 1
    grep -qE '^make-dmg: (plug in|libextra).dylib could not be signed.$' "$sandbox/err" ||
        fail_test "no sentence about the library"
}

test_a_refusal_of_apple_is_one()
{
    make_mac
    for answer in Invalid Rejected 'In Progress' ''; do
        echo "$answer" >"$sandbox/answer"
        make_dmg "$bundle" "$sandbox/Quillon.dmg" "$identity" profile
        expect_status 1
        expect_last_line "make-dmg: Apple refused bundle.zip: its answer is above."
        expect_called "xcrun notarytool log 2efe2717-52ef-43a5-96dc-0797e4ca1041 --keychain-profile profile"
        expect_said 'The signature is not valid.'
        expect_no_call "xcrun stapler"
    done
}

test_the_program_is_tried_in_another_place()
{
    make_mac
    make_dmg "$bundle" "$sandbox/Quillon.dmg" -
    expect_status 0
    [ "$(cat "$sandbox/started")" = started ] || fail_test "it was not tried, or not in another place"
    : >"$sandbox/does not start"
    make_dmg "$bundle" "$sandbox/Quillon.dmg" -
    expect_status 1
    expect_last_line "make-dmg: The bundle's program does not start in another place."
}

test_the_signature_without_an_identity_outlives_a_build()
{
    # The system uses this instead of the checksum.
    [ "$(cat "$checkout/packaging/macos/Quillon.requirements")" = \
        'designated => identifier "app.quillon.Quillon"' ] || fail_test "it requires something else"
    grep -qF '<string>app.quillon.Quillon</string>' "$checkout/packaging/macos/Info.plist.in" ||
        fail_test "the bundle calls itself something else"
}

test_what_cannot_work_is_refused_before_anything_is_touched()
{
    make_mac
    make_dmg "$bundle" "$sandbox/Quillon.dmg"
    expect_status 1
    expect_last_line "make-dmg: It takes a bundle, an image, an identity and perhaps a profile."
    make_dmg "$sandbox" "$sandbox/Quillon.dmg" -
    expect_status 1
    expect_last_line "make-dmg: $sandbox is no bundle."
    make_dmg "$bundle" "$sandbox/Quillon.dmg" - profile
    expect_status 1
    expect_last_line "make-dmg: Only what an identity has signed can be notarised."
    [ ! -s "$calls" ] || fail_test "it called $(cat "$calls")"
}

test_the_command_finds_the_program_through_a_link()
{
    contents="$sandbox/my place/Quillon.app/Contents"
    mkdir -p "$sandbox/my place/bin" "$contents/MacOS" "$contents/Resources" "$sandbox/links"
    cp "$checkout/packaging/macos/quillon" "$contents/Resources"
    printf '#!/bin/sh\nprintf "[%%s]" "$0" "$@"\n' >"$contents/MacOS/Quillon"
    chmod +x "$contents/MacOS/Quillon"
    ln -s ../Quillon.app/Contents/Resources/quillon "$sandbox/my place/bin/quillon"
    ln -s "$contents/Resources/quillon" "$sandbox/links/q"
    ln -s q "$sandbox/links/quillon"
    for command in "$contents/Resources/quillon" "$sandbox/my place/bin/quillon" "$sandbox/links/quillon"; do
        # The system finds the bundle by the path with which the program was started.
        [ "$("$command" --task "two  words")" = "[$contents/MacOS/Quillon][--task][two  words]" ] ||
            fail_test "$command failed"
    done
}

test_the_casks_command_is_in_the_bundle()
{
    grep -qxF '  binary "#{appdir}/Quillon.app/Contents/Resources/quillon"' \
        "$checkout/packaging/macos/quillon.rb" || fail_test "the cask links to something else"
    grep -qF '/quillon"' "$checkout/packaging/macos/bundle.cmake" || fail_test "it is not in the bundle"
    [ -x "$checkout/packaging/macos/quillon" ] || fail_test "it cannot be run"
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
