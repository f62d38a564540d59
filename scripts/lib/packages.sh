# shellcheck shell=sh disable=SC2154 # variables come from common.sh
# Installs packages with the system's package manager. Needs common.sh.

# package_list FILE…: prints the names in files of scripts/packages, except those followed by
# another distribution's name in brackets.
package_list()
{
    for list in "$@"; do
        sed -e 's/#.*//' -e "s/[[:space:]]*\\[${distribution:-none}\\]//" -e '/\[/d' \
            -e '/^[[:space:]]*$/d' "$root/scripts/packages/$list"
    done
}

supported="Debian 12, Ubuntu 24.04 and macOS 13, or later ones"

# require_known_linux OS-RELEASE fails on a system for which there is no list of packages.
require_known_linux()
{
    release=$1
    [ -r "$release" ] || fail "This system is not known here: setup prepares $supported."
    # shellcheck source=/dev/null
    name=$(. "$release" && printf '%s' "${PRETTY_NAME:-${NAME:-This system}}")
    # shellcheck source=/dev/null
    family=$(. "$release" && printf ' %s %s ' "${ID-}" "${ID_LIKE-}")
    case $family in
    *" debian "* | *" ubuntu "*) ;;
    *) fail "$name is not known here: setup prepares $supported." ;;
    esac
    # shellcheck source=/dev/null
    distribution=$(. "$release" && printf '%s' "${ID-}")
    # The next release, while it is in preparation, has no version.
    # shellcheck source=/dev/null
    version=$(. "$release" && printf '%s %s' "${ID-}" "${VERSION_ID-}")
    case $version in
    "debian "[0-9] | "debian "1[01] | "ubuntu "[0-9].* | "ubuntu "1[0-9].* | "ubuntu "2[0-3].*)
        fail "$name is too old: setup prepares $supported." ;;
    esac
    command -v apt-get >/dev/null 2>&1 ||
        fail "$name has no apt-get, which setup installs packages with."
}

require_macos()
{
    case $(sw_vers -productVersion) in
    [0-9].* | 1[0-2].*) fail "This macOS is too old: Quillon needs macOS 13 or later." ;;
    esac
    xcode-select -p >/dev/null 2>&1 ||
        fail "Apple's command line tools are missing: run xcode-select --install, then this again."
    command -v brew >/dev/null 2>&1 ||
        fail "Homebrew is missing: install it as its site says, then run this again."
}

# Prints the lines of standard input that are not installed packages.
missing_debian_packages()
{
    wanted=$(cat)
    # shellcheck disable=SC2086 # one word for each package
    installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' $wanted 2>/dev/null |
        sed -n 's/ installed$//p')
    for package in $wanted; do
        printf '%s\n' "$installed" | grep -qxF "$package" || printf '%s\n' "$package"
    done
}

missing_homebrew_formulae()
{
    prefix=$(brew --prefix)
    while read -r formula; do
        [ -d "$prefix/opt/$formula" ] || printf '%s\n' "$formula"
    done
}

# install_debian_packages NAME…: with apt-get, as root or through sudo.
install_debian_packages()
{
    as_root=
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null 2>&1 ||
            fail "Packages are missing and neither root nor sudo is at hand: have an administrator" \
                "install $*."
        as_root=sudo
    fi
    say "Installing $* (with apt)."
    # If the lists cannot be refreshed, the old ones may suffice: only the installation decides.
    make_scratch
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300 update \
        >"$scratch/update" 2>&1 </dev/null || true
    quietly "Not all packages could be installed: check the internet connection and run this again." \
        $as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300 \
        -o Acquire::Retries=2 install --no-install-recommends "$@"
}

# Prints why Homebrew may have failed. It has packages for the newest releases of macOS only and
# compiles everything on others; Qt needs more for that than Apple's command line tools.
homebrew_failure()
{
    case $(sw_vers -productVersion) in
    1[0-4].*)
        echo "Not all packages could be installed: for this macOS Homebrew compiles Qt itself, which" \
            "needs the whole of Xcode. Install Xcode, or a newer macOS, and run this again."
        ;;
    *)
        echo "Not all packages could be installed: check the internet connection and run this again."
        ;;
    esac
}

# install_homebrew_formulae NAME…
install_homebrew_formulae()
{
    say "Installing $* (with Homebrew)."
    quietly "$(homebrew_failure)" \
        env HOMEBREW_NO_ENV_HINTS=1 HOMEBREW_NO_INSTALL_CLEANUP=1 brew install --formula --quiet "$@"
}

# install_missing DEBIAN-LISTS HOMEBREW-LISTS: does not use the network if nothing is missing.
install_missing()
{
    case $(uname -s) in
    Darwin)
        require_macos
        # shellcheck disable=SC2086 # a list of lists
        missing=$(package_list $2 | missing_homebrew_formulae)
        # shellcheck disable=SC2086 # one word for each formula
        [ -z "$missing" ] || install_homebrew_formulae $missing
        ;;
    Linux)
        require_known_linux /etc/os-release
        # shellcheck disable=SC2086 # a list of lists
        missing=$(package_list $1 | missing_debian_packages)
        # shellcheck disable=SC2086 # one word for each package
        [ -z "$missing" ] || install_debian_packages $missing
        ;;
    *)
        fail "$(uname -s) is not known here: setup prepares $supported."
        ;;
    esac
}

# require_npm_and_git: needed only if GitHub cannot be reached.
require_npm_and_git()
{
    set --
    if ! command -v npm >/dev/null 2>&1; then
        if on_macos; then set -- node; else set -- npm; fi
    fi
    command -v git >/dev/null 2>&1 || set -- "$@" git
    [ $# -gt 0 ] || return 0
    if on_macos; then install_homebrew_formulae "$@"; else install_debian_packages "$@"; fi
}
