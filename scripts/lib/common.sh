# shellcheck shell=sh disable=SC2034,SC2154 # variables are shared with the scripts
# Shared by all scripts here. A script sets $root, the folder of the checkout, before it reads this
# file. Writes nothing to stdout, which is for the output of the program that scripts/run starts.

set -eu

# If it is set, cd prints the folder.
unset CDPATH

# The file descriptor for messages: standard error, also while quietly redirects that.
user=2

say()
{
    printf '%s\n' "$*" >&"$user"
}

# fail SENTENCE ends the script.
fail()
{
    printf 'scripts/%s: %s\n' "${0##*/}" "$*" >&"$user"
    exit 1
}

# help_if_asked "$@": ends the script after printing the comment at its head.
help_if_asked()
{
    case ${1-} in
        -h | --help)
            sed -n '2,/^$/s/^# \{0,1\}//p' "$0"
            exit 0
            ;;
    esac
}

on_macos()
{
    [ "$(uname -s)" = Darwin ]
}

scratch=
held_lock=

# Called however the script ends.
tidy_up()
{
    [ -z "$scratch" ] || rm -rf "$scratch"
    unlock
}
trap tidy_up EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# The cache folder, for what is built once for all checkouts.
cache_folder()
{
    if ! on_macos && [ -n "${XDG_CACHE_HOME-}" ]; then
        printf '%s\n' "$XDG_CACHE_HOME/quillon"
    elif [ -z "${HOME-}" ]; then
        fail "The variable HOME is not set, so there is no place for what is built once."
    elif on_macos; then
        printf '%s\n' "$HOME/Library/Caches/quillon"
    else
        printf '%s\n' "$HOME/.cache/quillon"
    fi
}

# Creates a temporary folder in the cache folder, so that results are moved to their places there
# atomically, and sets $scratch.
make_scratch()
{
    [ -z "$scratch" ] || return 0
    mkdir -p "$cache" 2>/dev/null || fail "Cannot write to $cache."
    # Left by scripts that were killed.
    find "$cache" -maxdepth 1 -name 'work.*' -mtime +0 -exec rm -rf {} +
    scratch=$(mktemp -d "$cache/work.XXXXXX") || fail "Cannot write to $cache."
}

# quietly SENTENCE COMMAND… runs a command without its output. If it fails, the end of its output
# and the sentence are shown. Messages by say are shown in any case.
quietly()
{
    sentence=$1
    shift
    make_scratch
    user=3
    succeeded=yes
    "$@" 3>&2 >"$scratch/log" 2>&1 </dev/null || succeeded=
    user=2
    if [ -z "$succeeded" ]; then
        tail -n 40 "$scratch/log" >&2
        fail "$sentence"
    fi
}

# birth PROCESS: the time at which it started, which tells it from other processes with the same id.
birth()
{
    if [ -d /proc/self ]; then
        # The second field is the name, which may contain any character; the start is the 22nd
        # field.
        sed -e 's/.*) //' "/proc/$1/stat" 2>/dev/null | cut -d ' ' -f 20
    else
        LC_ALL=C TZ=UTC0 ps -o lstart= -p "$1" 2>/dev/null | tr -cd '[:alnum:]:'
    fi
}

# lock FILE SENTENCE waits until no other script holds the lock, and prints the sentence if it has
# to wait. The lock is a symbolic link, since creating one is atomic, and contains its owner's
# process id and start time; the lock of a process that has ended is taken over, even if its id is
# in use again. It only saves double work: results are moved into place atomically in any case.
lock()
{
    mkdir -p "${1%/*}" 2>/dev/null || fail "Cannot write to ${1%/*}."
    waited=
    failures=0
    until ln -s "$$-$(birth "$$")" "$1" 2>/dev/null; do
        if ! owner=$(readlink "$1"); then
            failures=$((failures + 1))
            [ "$failures" -lt 5 ] || fail "Cannot write to ${1%/*}."
        elif process=${owner%%-*} && { ! kill -0 "$process" 2>/dev/null ||
            [ "$owner" != "$process-$(birth "$process")" ]; }; then
            rm -f "$1"
        else
            [ -n "$waited" ] || say "$2"
            waited=yes
            sleep 1
        fi
    done
    held_lock=$1
}

unlock()
{
    [ -z "$held_lock" ] || rm -f "$held_lock"
    held_lock=
}

# sha256 FILE… (or standard input): prints a line with checksum and name for each.
sha256()
{
    if command -v sha256sum >/dev/null 2>&1; then
        sha256sum "$@"
    else
        shasum -a 256 "$@"
    fi
}

cache=$(cache_folder)
