# shellcheck shell=sh disable=SC2154 # variables come from common.sh
# Provides llama.cpp: a suitable installed package, or else the pinned release, built once into the
# user's cache folder. Needs common.sh and packages.sh.

llama_version=0.5.0
llama_archive=https://github.com/ggml-org/llama.cpp/archive/refs/tags/v0.5.0.tar.gz
# The content_digest of the release's files. Not of an archive: hosts pack the same files into
# different archives over the years.
llama_content=ddec8a38a5259f93b64c3971dcdecf06853b3c97ab12637fadf3f01223207d19
# The same files as a git bundle, inside a package of another project.
llama_npm_package=node-llama-cpp@3.22.1
llama_npm_sha256=a0d9dd80eacd2ab1cfe71aee57ac8a806487fd70b3d2a38fbec637752d9e5c5f
# Increase it when the way of building below changes.
llama_recipe=2
# native is for this machine's processor, portable for all of its family, as packages need it. A
# script that needs the latter sets it after reading this file.
llama_kind=native

# Prints a checksum of names and contents of all files in a folder. Anything other than files and
# folders makes it different from every pinned one.
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

# Prints the folder with llama-config.cmake of a suitable installed package, or nothing. Each 0.x
# release may change the library's interface, so only those of the pinned series are suitable.
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

# Prints a key of what a build depends on: the compilers and, for native builds, the processor's
# instructions. Both show in the compiler's predefined macros. So a cache folder that is moved to
# another machine is not used there.
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

# The oldest macOS that the program and its libraries are built for.
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

# Prints the folder for CMake's llama_DIR; it exists after ensure_llama. Packages contain our own
# build, even if another one is installed here.
llama_dir()
{
    folder=
    [ "$llama_kind" != native ] || folder=$(installed_llama)
    printf '%s\n' "${folder:-$(cached_llama)/lib/cmake/llama}"
}

# Both put the release's files into the folder $1. They return 1 if the source cannot be reached and
# 2 if its content differs from what is pinned.
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

# Prints the options of the build, one per line. The native one is static, so that the program can
# be moved.
llama_options()
{
    ! on_macos || printf '%s\n' "-DCMAKE_OSX_DEPLOYMENT_TARGET=$(oldest_macos)"
    case $llama_kind-$(uname -s) in
    native-*)
        printf '%s\n' -DBUILD_SHARED_LIBS=OFF -DGGML_NATIVE=ON
        ;;
    portable-Darwin)
        # The instructions of the first Apple processor; the graphics processor does the work.
        printf '%s\n' -DBUILD_SHARED_LIBS=OFF -DGGML_NATIVE=OFF \
            -DGGML_CPU_ARM_ARCH=armv8.4-a+dotprod+fp16
        ;;
    portable-*)
        # One library for each generation of processors, in the folder of the one that chooses.
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
        # Each of these would change the result; the date removes the processor's flags.
        unset SOURCE_DATE_EPOCH CFLAGS CXXFLAGS CPPFLAGS
        # If compiled by gcc 12, this release's code for AMX processors crashes at the first prompt
        # of a quantised model: the compiler drops writes to the tile configuration. Without this
        # macro, the library uses its AVX-512 code.
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

# Moves the folder $1 to $2 atomically. If another script was faster, its folder is kept: it has the
# same content. An incomplete one, from which files were deleted, is replaced.
put_in_place()
{
    if [ ! -f "$2/lib/cmake/llama/llama-config.cmake" ]; then
        rm -rf "$2"
        mv "$1" "$2"
    fi
    # mv moves into the folder if $2 was created in between.
    rm -rf "${2:?}/${1##*/}"
}

# Makes sure that the folder of llama_dir exists.
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
