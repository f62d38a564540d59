# shellcheck shell=sh disable=SC2154 # variables come from common.sh
# Which folders a folder may include and link: the arrows of docs/architecture.md. Needs common.sh.

# A folder, and the folders that it may use besides itself. agent/action is a layer of its own.
layers='
base
platform base
inference base
models inference base
agent/action base
executor agent/action platform base
agent agent/action executor models inference platform base
app agent agent/action models platform base
ui app agent models base
'

# check_layers prints each #include and each linked library that is not allowed, and fails if there
# is one.
check_layers()
{
    (
        cd "$root" || exit
        folders=$(printf '%s\n' "$layers" | sed -n 's/ .*//; /./p')
        for folder in $folders; do
            [ -d "$folder" ] || continue
            find "$folder" -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.mm' -o -name CMakeLists.txt \) -print
        done | sort -u | while IFS= read -r file; do
            sed -n "s|^ *#include \"\([^\"]*\)/[^/\"]*\".*|$file \1|p" "$file"
            case $file in
            *CMakeLists.txt)
                awk -F '[ ()]+' -v file="$file" '
                    { for (i = 1; i <= NF; ++i) if (sub(/^quillon_/, "", $i)) print file, $i }' "$file"
                ;;
            esac
        done | awk -v layers="$layers" '
            function room(path) {
                if (path ~ /^agent\/action(\/|$)/ || path == "action") return "agent/action"
                sub(/\/.*/, "", path)
                return path
            }
            BEGIN {
                count = split(layers, lines, "\n")
                for (i = 1; i <= count; ++i) {
                    fields = split(lines[i], words, " ")
                    if (fields > 0) known[words[1]] = 1
                    for (j = 1; j <= fields; ++j) allowed[words[1], words[j]] = 1
                }
            }
            {
                from = room($1)
                to = room($2)
                if (to in known && !((from, to) in allowed)) {
                    print $1 ": " from " must not use " to
                    found = 1
                }
            }
            END { exit found }'
    )
}
