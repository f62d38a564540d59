# Completion of quillon's arguments for fish.
complete -c quillon -f
complete -c quillon -s h -l help -d "Print the options"
complete -c quillon -s v -l version -d "Print the version"
complete -c quillon -l autostart -x -a "on off" -d "Start at login"
complete -c quillon -l background -d "Start without showing the panel"
complete -c quillon -l doctor -d "Check what tasks depend on"
complete -c quillon -l import -r -F -d "Take a GGUF file for the chosen model"
complete -c quillon -l json -d "Print each line of a task as a JSON object"
complete -c quillon -l models -d "List the models that are there, or remove one"
complete -c quillon -l small -d "Run a task with the small model that comes along"
complete -c quillon -l task -x -d "Run one task in this terminal"
complete -c quillon -l toggle -d "Show or hide the panel"
complete -c quillon -n "__fish_contains_opt models; and not __fish_seen_subcommand_from remove" -a remove
complete -c quillon -n "__fish_contains_opt models; and __fish_seen_subcommand_from remove" \
    -a "qwen2.5-1.5b llama3.2-3b"
