# shellcheck shell=sh disable=SC2034,SC2154 # variables are shared with the scripts
# What every script here shares. The script sets $root, the folder of the checkout, before it reads
# this file. Nothing is written to stdout: that belongs to the program which scripts/run starts.

set -eu

# The caller's own would make cd print the folder that it goes to.
unset CDPATH

# Where the user reads: standard error, also while quietly has that go elsewhere.
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

on_macos()
{
    [ "$(uname -s)" = Darwin ]
}

scratch=
held_lock=

# Leaves nothing behind, however the script ends.
tidy_up()
{
    [ -z "$scratch" ] || rm -rf "$scratch"
    unlock
}
trap tidy_up EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# The folder for what is built once for all checkouts.
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

# A temporary folder of this script's own in $scratch. It lies in the cache folder, so that what was
# made in it reaches its place there in one step.
make_scratch()
{
    [ -z "$scratch" ] || return 0
    mkdir -p "$cache" 2>/dev/null || fail "Cannot write to $cache."
    # What scripts that were killed have left.
    find "$cache" -maxdepth 1 -name 'work.*' -mtime +0 -exec rm -rf {} +
    scratch=$(mktemp -d "$cache/work.XXXXXX") || fail "Cannot write to $cache."
}

# quietly SENTENCE COMMAND… runs a command without its output. Should it fail, the end of the output
# and the sentence are shown. What the command itself says to the user is heard.
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

# birth PROCESS: when it started, in words that only it has among all that ever had its number.
birth()
{
    if [ -d /proc/self ]; then
        # The second field is the name, which may contain anything; the start is the 22nd.
        sed -e 's/.*) //' "/proc/$1/stat" 2>/dev/null | cut -d ' ' -f 20
    else
        LC_ALL=C TZ=UTC0 ps -o lstart= -p "$1" 2>/dev/null | tr -cd '[:alnum:]:'
    fi
}

# lock FILE SENTENCE waits until no other script holds the lock, and says so with the sentence. The
# lock is a symbolic link that names its owner's process and when that started, since making one is a
# single step; that of a process which has died is taken over, also where another one has got its
# number. It only saves double work: whoever holds it, results are put in place in one step.
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

# sha256 FILE… (or standard input): a line with checksum and name for each.
sha256()
{
    if command -v sha256sum >/dev/null 2>&1; then
        sha256sum "$@"
    else
        shasum -a 256 "$@"
    fi
}

cache=$(cache_folder)
