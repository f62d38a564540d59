# shellcheck shell=sh disable=SC2154 # variables come from common.sh
# Where llama.cpp comes from: an installed package where there is a suitable one, else the pinned
# release, built once into the user's cache folder. Reads common.sh and packages.sh first.

llama_version=0.5.0
llama_archive=https://github.com/ggml-org/llama.cpp/archive/refs/tags/v0.5.0.tar.gz
# What content_digest says of the release's files, however they came here: hosts pack the same files
# into different archives over the years.
llama_content=ddec8a38a5259f93b64c3971dcdecf06853b3c97ab12637fadf3f01223207d19
# The same files as a git bundle, inside a package of another project.
llama_npm_package=node-llama-cpp@3.22.1
llama_npm_sha256=a0d9dd80eacd2ab1cfe71aee57ac8a806487fd70b3d2a38fbec637752d9e5c5f
# Goes up when the way of building below changes.
llama_recipe=2
# For whom it is built: native is for this very processor, portable for every one of its family, as
# packages need it. A script that wants the latter says so after reading this file.
llama_kind=native

# A checksum of names and contents of all files in a folder. Nothing that is neither file nor folder
# belongs into it, so such a thing makes it different from any pinned one.
content_digest()
{
    (
        cd "$1" || exit
        {
            find . -path ./.git -prune -o ! -type f ! -type d -print
            if command -v sha256sum >/dev/null 2>&1; then
                find . -path ./.git -prune -o -type f -exec sha256sum {} +
            else
                find . -path ./.git -prune -o -type f -exec shasum -a 256 {} +
            fi
        } | LC_ALL=C sort -k 2 | sha256 | cut -d ' ' -f 1
    )
}

# The folder with llama-config.cmake of an installed package that is known to work, or nothing. Each
# new 0.x may change the library's interface, so only the releases of the pinned one's series count.
installed_llama()
{
    prefixes=${CMAKE_PREFIX_PATH-}:/usr/local:/usr
    ! on_macos || prefixes=$prefixes:$(brew --prefix)
    old_ifs=$IFS
    IFS=:
    for prefix in $prefixes; do
        [ -n "$prefix" ] || continue
        for folder in "$prefix"/lib/cmake/llama "$prefix"/lib/*/cmake/llama "$prefix"/lib64/cmake/llama; do
            [ -f "$folder/llama-config.cmake" ] || continue
            case $(sed -n 's/^set(PACKAGE_VERSION "\(.*\)").*/\1/p' "$folder/llama-config-version.cmake" \
                2>/dev/null) in
            0.5 | 0.5.*)
                printf '%s\n' "$folder"
                break 2
                ;;
            esac
        done
    done
    IFS=$old_ifs
}

# What a build is good for: the compilers and, where it is made for this very processor, its
# instructions, both of which show in the compiler's own macros. A cache folder that moves to another
# machine is not used there.
machine_key()
{
    compiler=${CXX:-c++}
    {
        if [ "$llama_kind" = native ]; then
            $compiler -march=native -dM -E -x c++ /dev/null 2>/dev/null ||
                $compiler -mcpu=native -dM -E -x c++ /dev/null 2>/dev/null ||
                { $compiler --version && uname -m; }
        else
            { $compiler -dM -E -x c++ /dev/null 2>/dev/null || $compiler --version; } && uname -m
        fi
        ${CC:-cc} --version 2>/dev/null || true
    } | sha256 | cut -c 1-12
}

# The oldest macOS that the program is built for, and so its libraries.
oldest_macos()
{
    sed -n 's/^set(CMAKE_OSX_DEPLOYMENT_TARGET \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt"
}

cached_llama()
{
    name=llama-$llama_version-$llama_recipe
    ! on_macos || name=$name-macos$(oldest_macos)
    [ "$llama_kind" = native ] || name=$name-$llama_kind
    printf '%s\n' "$cache/$name-$(machine_key)"
}

# The folder to give to CMake as llama_DIR; it exists once ensure_llama has run. Packages carry our
# own along, whatever is installed here.
llama_dir()
{
    folder=
    [ "$llama_kind" != native ] || folder=$(installed_llama)
    printf '%s\n' "${folder:-$(cached_llama)/lib/cmake/llama}"
}

# Each of the two puts the release's files into the folder $1. They answer 1 when the source cannot
# be reached and 2 when it brings something else than what is pinned.
fetch_llama_archive()
{
    curl -fsSL --connect-timeout 5 --speed-limit 10000 --speed-time 20 \
        -o "$scratch/llama.tar.gz" "$llama_archive" >/dev/null 2>&1 </dev/null || return 1
    mkdir "$1"
    tar -xzf "$scratch/llama.tar.gz" -C "$1" --strip-components=1 >/dev/null 2>&1 || return 2
    [ "$(content_digest "$1")" = "$llama_content" ] || return 2
}

fetch_llama_npm_package()
{
    require_npm_and_git
    mkdir "$scratch/npm"
    (cd "$scratch/npm" &&
        npm pack "$llama_npm_package" --fetch-retries=1 --fetch-retry-mintimeout=1000 \
            >/dev/null 2>&1 </dev/null) || return 1
    package=$(find "$scratch/npm" -name '*.tgz')
    [ "$(sha256 "$package" | cut -d ' ' -f 1)" = "$llama_npm_sha256" ] || return 2
    tar -xzf "$package" -C "$scratch/npm" package/llama/gitRelease.bundle
    git -c core.autocrlf=false clone -q "$scratch/npm/package/llama/gitRelease.bundle" "$1" \
        >/dev/null 2>&1 || return 2
    [ "$(content_digest "$1")" = "$llama_content" ] || return 2
}

fetch_llama()
{
    say "Fetching the source of llama.cpp $llama_version."
    result=0
    fetch_llama_archive "$1" || result=$?
    case $result in
    0) return ;;
    1) say "Its archive on GitHub cannot be reached; trying the npm package that carries it." ;;
    *) say "Its archive does not have the pinned contents; trying the npm package that carries it." ;;
    esac
    rm -rf "$1"
    result=0
    fetch_llama_npm_package "$1" || result=$?
    case $result in
    0) ;;
    1) fail "The source of llama.cpp cannot be downloaded: check the internet connection and run this" \
        "again." ;;
    *) fail "The source of llama.cpp that was downloaded is not the pinned one, so it is not used." ;;
    esac
}

# How each kind is built, one option a line. The native one is static, so that the program carries it
# along wherever it goes.
llama_options()
{
    ! on_macos || printf '%s\n' "-DCMAKE_OSX_DEPLOYMENT_TARGET=$(oldest_macos)"
    case $llama_kind-$(uname -s) in
    native-*)
        printf '%s\n' -DBUILD_SHARED_LIBS=OFF -DGGML_NATIVE=ON
        ;;
    portable-Darwin)
        # What the first of Apple's own processors has; the graphics processor does the work.
        printf '%s\n' -DBUILD_SHARED_LIBS=OFF -DGGML_NATIVE=OFF \
            -DGGML_CPU_ARM_ARCH=armv8.4-a+dotprod+fp16
        ;;
    portable-*)
        # One library for each generation of processors, all beside the one that chooses among them.
        # shellcheck disable=SC2016 # the loader's own variable
        printf '%s\n' -DBUILD_SHARED_LIBS=ON -DGGML_NATIVE=OFF -DGGML_BACKEND_DL=ON \
            -DGGML_CPU_ALL_VARIANTS=ON -DCMAKE_INSTALL_BINDIR=lib '-DCMAKE_INSTALL_RPATH=$ORIGIN'
        ;;
    esac
}

# build_llama SOURCE BUILD PREFIX
build_llama()
{
    (
        # Each of these would change what is built: the date empties the processor's flags.
        unset SOURCE_DATE_EPOCH CFLAGS CXXFLAGS CPPFLAGS
        # This release's code for AMX processors crashes at the first prompt of a quantised model
        # when gcc 12 has compiled it: the compiler drops what is written to the tile configuration.
        # Without that macro the library uses its AVX-512 code there.
        without_amx=-U__AMX_INT8__
        # shellcheck disable=SC2046 # one word for each option
        cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Release \
            -DCMAKE_INSTALL_PREFIX="$3" -DCMAKE_INSTALL_LIBDIR=lib \
            -DCMAKE_POSITION_INDEPENDENT_CODE=ON \
            -DCMAKE_C_FLAGS="$without_amx" -DCMAKE_CXX_FLAGS="$without_amx" \
            $(llama_options) -DGGML_CCACHE=OFF -DGGML_METAL_EMBED_LIBRARY=ON \
            -DLLAMA_BUILD_COMMON=OFF -DLLAMA_BUILD_APP=OFF -DLLAMA_BUILD_TESTS=OFF \
            -DLLAMA_BUILD_TOOLS=OFF -DLLAMA_BUILD_EXAMPLES=OFF -DLLAMA_BUILD_SERVER=OFF &&
            cmake --build "$2" && cmake --install "$2" --strip
    )
}

# Puts the folder $1 in the place $2 in one step. Where another script was faster, its folder stays:
# it holds the same. One that is not whole, since somebody has cleared it out, makes way.
put_in_place()
{
    if [ ! -f "$2/lib/cmake/llama/llama-config.cmake" ]; then
        rm -rf "$2"
        mv "$1" "$2"
    fi
    # mv moves into a folder that has come into being in between.
    rm -rf "${2:?}/${1##*/}"
}

# Makes llama_dir true.
ensure_llama()
{
    [ ! -f "$(llama_dir)/llama-config.cmake" ] || return 0
    place=$(cached_llama)
    lock "$cache/lock" "Another script is building llama.cpp; waiting for it."
    if [ ! -f "$place/lib/cmake/llama/llama-config.cmake" ]; then
        make_scratch
        fetch_llama "$scratch/source"
        say "Building llama.cpp $llama_version ($llama_kind): a few minutes, once."
        quietly "llama.cpp could not be built." \
            build_llama "$scratch/source" "$scratch/build" "$scratch/new-${place##*/}"
        put_in_place "$scratch/new-${place##*/}" "$place"
    fi
    unlock
}
