#!/bin/sh
# An engine for the tour, without a window and without delay: prints, and ends with, what the real
# one does. It does not replace itself by what it starts, as a wrapper in a distribution might not.
version='Godot Engine v4.3.stable.official.77dcf97d8 - https://godotengine.org'
project=
import=
while [ $# -gt 0 ]; do
    case $1 in
    --path)
        project=$2
        shift
        ;;
    --import) import=yes ;;
    esac
    shift
done
printf '%s\n\n' "$version"
if [ ! -f "$project/project.godot" ]; then
    printf "Error: Couldn't load project data at path \"%s\".\n" "$project" >&2
    exit 1
fi
if [ "$import" ]; then
    mkdir -p "$project/.godot/imported"
    for task in first_scan_filesystem update_scripts_classes reimport loading_editor_layout; do
        printf '\033[90m[   0%% ]\033[39m \033[1m%s\033[22m | Started (1 steps)\n' "$task"
        printf '\033[92m[ DONE ]\033[39m \033[1m%s\033[22m\033[0m\n' "$task"
    done
    exit 0
fi
if grep -q 'res://mistake.gd' "$project/project.godot"; then
    printf 'ERROR: The map has no start position.\n' >&2
    printf '   at: push_error (core/variant/variant_utility.cpp:1098)\n' >&2
    exit 1
fi
printf 'OpenGL API 3.3 - Compatibility - Using Device: none\n'
sleep 60
