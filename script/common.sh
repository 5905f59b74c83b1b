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

# For --help, prints the comment at the head of the calling script, whose arguments these are.
for argument in "$@"; do
    case $argument in
    --help | -h)
        awk 'NR > 1 { if (!sub(/^# ?/, "")) exit; print }' "script/${0##*/}"
        exit 0
        ;;
    esac
done

# quietly <log> <command…>: keeps a command's output in a file and shows it only if it fails.
quietly() {
    local log=$1 status=0
    mkdir -p "$(dirname "$log")"
    "${@:2}" >"$log" 2>&1 || status=$?
    if [ "$status" -ne 0 ]; then
        cat "$log" >&2
        echo "${0##*/}: failed: ${*:2}" >&2
    fi
    return "$status"
}

# configure <preset> [<option of cmake…>]: without options only where something has changed.
configure() {
    if [ "$#" -eq 1 ] && [ "build/$1/build.ninja" -nt CMakePresets.json ]; then
        quietly "build/$1.configure.log" cmake --build "build/$1" --target build.ninja
    else
        quietly "build/$1.configure.log" cmake --preset "$@"
    fi
}

# build <folder below build/> <target…>: on a terminal in one line that counts up, otherwise silent
# unless it fails.
build() {
    if [ -t 1 ]; then
        cmake --build "build/$1" --target "${@:2}"
    else
        quietly "build/$1.build.log" cmake --build "build/$1" --target "${@:2}"
    fi
}

# provide <preset> <target…>: installs what is missing, configures and builds.
provide() {
    script/bootstrap
    echo "${0##*/}: building (some minutes the first time)"
    configure "$1"
    build "$@"
}
