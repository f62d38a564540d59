# shellcheck shell=bash disable=SC2207 # macOS has a bash without mapfile
# Completion of quillon's arguments for bash.
_quillon()
{
    local IFS=$'\n' word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    case $before in
    --autostart)
        COMPREPLY=($(compgen -W $'off\non' -- "$word"))
        ;;
    --import)
        compopt -o filenames 2>/dev/null || true
        COMPREPLY=($(compgen -d -- "$word") $(compgen -f -X '!*.gguf' -- "$word"))
        ;;
    --models)
        COMPREPLY=($(compgen -W "remove" -- "$word"))
        ;;
    remove)
        COMPREPLY=($(compgen -W $'qwen2.5-1.5b\nllama3.2-3b' -- "$word"))
        ;;
    *)
        [ "$before" = --task ] || [ "${word#-}" = "$word" ] ||
            COMPREPLY=($(compgen -W $'--autostart\n--background\n--doctor\n--help\n--import\n--json\n--models\n--small\n--task\n--toggle\n--version' -- "$word"))
        ;;
    esac
}
complete -F _quillon quillon
