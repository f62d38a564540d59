#!/bin/sh
# Tests scripts/package on a prepared machine.
# shellcheck disable=SC2016 # stand-ins expand later
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"
# shellcheck source=tests/scripts/machine.sh
. "$(dirname "$0")/machine.sh"

# CMake's cached version, and fakes of the packaging tools, which create their packages.
make_packers()
{
    printf 'CMAKE_PROJECT_VERSION:STATIC=1.2.3\n' >"$sandbox/version"
    sed -e 's|^--build)$|--build) [ "$2" != build/package ] \|\| cat "$sandbox/version" >>"$2/CMakeCache.txt"|' \
        "$sandbox/fakes/cmake" >"$sandbox/cmake"
    cat "$sandbox/cmake" >"$sandbox/fakes/cmake"
    stand_in cpack <<'END'
[ ! -f "$sandbox/no-package" ] || exit 0
: >quillon_1.2.3_amd64.deb
END
    echo 14.0 >"$sandbox/oldest"
    stand_in plutil <<'END'
cat "$sandbox/oldest"
END
    mkdir -p "$sandbox/tree/packaging/macos"
    cp "$checkout/packaging/macos/quillon.rb" "$sandbox/tree/packaging/macos"
    printf '#!/bin/sh\nprintf "make-dmg %%s|%%s|%%s|%%s\\n" "$@" >>"$calls"\necho image >"$2"\n' \
        >"$sandbox/tree/packaging/macos/make-dmg"
    chmod +x "$sandbox/tree/packaging/macos/make-dmg"
}

test_debian_gets_a_package_for_every_processor()
{
    make_debian
    make_packers
    run_script package
    expect_status 0
    expect_last_line "The package is build/package/quillon_1.2.3_amd64.deb."
    grep -q '^cmake -S .*-DBUILD_SHARED_LIBS=ON -DGGML_NATIVE=OFF -DGGML_BACKEND_DL=ON .*-DGGML_CPU_ALL_VARIANTS=ON' \
        "$calls" || fail_test "llama.cpp was built for one processor"
    grep -q '^cmake --preset package .*-Dllama_DIR:PATH=.*-portable-' "$calls" ||
        fail_test "the package has another llama.cpp"
    for package in dpkg-dev file gzip; do
        grep -qx "$package" "$sandbox/installed" || fail_test "$package was not installed"
    done
}

test_the_users_own_llama_stays_as_it_is()
{
    make_debian
    make_packers
    run_script setup
    run_script package
    expect_status 0
    grep -q '^cmake -S .*-DBUILD_SHARED_LIBS=OFF -DGGML_NATIVE=ON' "$calls" ||
        fail_test "the user's own was not built for this processor"
    set -- "$sandbox/home dir/.cache/quillon"/llama-*
    [ $# -eq 2 ] || fail_test "not one of each kind: $*"
    : >"$calls"
    run_script package
    ! grep -q '^cmake -S' "$calls" || fail_test "it was built again"
}

test_another_processor_makes_no_difference_to_a_package()
{
    make_debian
    make_packers
    # The fake compiler prints the processor only for -march=native.
    stand_in c++ <<'END'
case $* in *native*) cat "$sandbox/cpu" ;; *) echo every ;; esac
END
    run_script package
    printf 'second' >"$sandbox/cpu"
    : >"$calls"
    run_script package
    expect_status 0
    ! grep -q '^cmake -S' "$calls" || fail_test "it was built again"
}

test_macos_gets_an_image_and_its_cask()
{
    make_macos 14.5
    make_packers
    run_script package "Developer ID Application: Somebody" profile
    expect_status 0
    expect_last_line "The package is build/package/Quillon-1.2.3.dmg."
    expect_called "make-dmg stage/Quillon.app|Quillon-1.2.3.dmg|Developer ID Application: Somebody|profile"
    grep -q '^cmake -S .*-DBUILD_SHARED_LIBS=OFF -DGGML_NATIVE=OFF -DGGML_CPU_ARM_ARCH=' "$calls" ||
        fail_test "llama.cpp was built for one processor"
    cask=$sandbox/tree/build/package/quillon.rb
    grep -qx '  version "1.2.3"' "$cask" || fail_test "the cask has another version"
    sum=$(echo image | if command -v sha256sum >/dev/null; then sha256sum; else shasum -a 256; fi)
    grep -qx "  sha256 \"${sum%% *}\"" "$cask" ||
        fail_test "the cask has another checksum"
    grep -qx '  depends_on macos: :sonoma' "$cask" || fail_test "the cask is for another macOS"
    grep -qxF "  url \"file://${cask%/*}/Quillon-1.2.3.dmg\"" "$cask" ||
        fail_test "the cask does not install the image beside it"
    ! grep -q '@' "$cask" || fail_test "the cask is not filled in"
}

test_a_published_cask_has_the_address_of_the_downloads()
{
    make_macos 14.5
    make_packers
    extra_environment=QUILLON_DOWNLOADS=https://example.org/v1.2.3
    run_script package
    expect_status 0
    grep -qxF '  url "https://example.org/v1.2.3/Quillon-1.2.3.dmg"' \
        "$sandbox/tree/build/package/quillon.rb" || fail_test "the cask has another address"
}

test_every_macos_has_its_name_in_the_cask()
{
    n=0
    while read -r system name; do
        n=$((n + 1))
        make_sandbox "named-$n"
        make_macos "$system"
        make_packers
        echo "$system" >"$sandbox/oldest"
        run_script package
        expect_status 0
        grep -qx "  depends_on macos: :$name" "$sandbox/tree/build/package/quillon.rb" ||
            fail_test "the cask is for another macOS than $name"
    done <<'END'
13.7 ventura
14.0 sonoma
15.2 sequoia
26.0 tahoe
27.1 golden_gate
END
    [ "$n" = 5 ] || fail_test "$n of 5 rows"
}

test_a_macos_that_has_no_name_here_is_refused_before_anything_is_built()
{
    make_macos 99.1
    make_packers
    run_script package
    expect_status 1
    expect_last_line "scripts/package: The cask cannot be made: scripts/package does not know the name of macOS 99.1."
    expect_no_call brew cmake make-dmg
}

test_a_bundle_for_a_macos_that_has_no_name_here_is_told_of()
{
    make_macos 14.5
    make_packers
    echo 12.0 >"$sandbox/oldest"
    run_script package
    expect_status 1
    expect_last_line "scripts/package: The image is made, but not its cask: it says that it is for macOS 12.0."
}

test_an_identity_is_for_macos_only()
{
    make_debian
    run_script package somebody
    expect_status 1
    expect_last_line "scripts/package: Only macOS has packages that are signed by an identity."
}

test_a_package_that_does_not_come_is_a_failure()
{
    make_debian
    make_packers
    touch "$sandbox/no-package"
    run_script package
    expect_status 1
    expect_last_line "scripts/package: No package came of it."
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
