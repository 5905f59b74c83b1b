# What the scripts share. Sourced, never run: it changes to the project's folder and defines
# functions. Kept to what bash 3.2 knows, which is what macOS has.
# shellcheck shell=bash

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

# A bare system has no language set, and Qt wants UTF-8.
if [ "$(uname -s)" != Darwin ] && [ "$(locale charmap 2>/dev/null)" != UTF-8 ]; then
    export LC_ALL=C.UTF-8
fi

fail() {
    echo "${0##*/}: $*" >&2
    exit 1
}

# usage_if_asked "$@": prints the comment at the head of the calling script for --help or -h.
usage_if_asked() {
    local argument
    for argument in "$@"; do
        case $argument in
        --help | -h)
            awk 'NR > 1 { if (!sub(/^# ?/, "")) exit; print }' "script/${0##*/}"
            exit 0
            ;;
        esac
    done
}

# quietly <log> <command…>: keeps a command's output in a file and shows it only if it fails.
quietly() {
    local log=$1 status=0
    shift
    mkdir -p "$(dirname "$log")"
    "$@" >"$log" 2>&1 || status=$?
    if [ "$status" -ne 0 ]; then
        cat "$log" >&2
        echo "${0##*/}: failed: $*" >&2
    fi
    return "$status"
}

# configure <preset> [<option of cmake…>]: without options only where something has changed.
configure() {
    local preset=$1
    shift
    if [ "$#" -eq 0 ] && [ "build/$preset/build.ninja" -nt CMakePresets.json ]; then
        quietly "build/$preset.configure.log" cmake --build "build/$preset" --target build.ninja
        return
    fi
    quietly "build/$preset.configure.log" cmake --preset "$preset" "$@"
}

# build <folder below build/> <target…>: on a terminal in one line that counts up, otherwise silent
# unless it fails.
build() {
    local folder=build/$1
    shift
    if [ -t 1 ]; then
        cmake --build "$folder" --target "$@"
    else
        quietly "$folder.build.log" cmake --build "$folder" --target "$@"
    fi
}

# provide <preset> <target…>: installs what is missing, configures and builds.
provide() {
    script/bootstrap
    echo "${0##*/}: building (some minutes the first time)"
    configure "$1"
    build "$@"
}

# has_display: windows can be shown here.
has_display() {
    [ "$(uname -s)" = Darwin ] || [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]
}
