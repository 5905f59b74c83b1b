# Defines functions for the other scripts, which source this file, and changes to the project's folder.
# Uses only features of bash 3.2, the version on macOS.
# shellcheck shell=bash

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

# Qt wants UTF-8, but a bare system has no language set.
if [ "$(uname -s)" != Darwin ] && [ "$(locale charmap 2>/dev/null)" != UTF-8 ]; then
    export LC_ALL=C.UTF-8
fi

fail() {
    echo "${0##*/}: $*" >&2
    exit 1
}

# For --help, print the comment at the head of the calling script. "$@" are its arguments.
for argument in "$@"; do
    case $argument in
    --help | -h)
        awk 'NR > 1 { if (!sub(/^# ?/, "")) exit; print }' "script/${0##*/}"
        exit 0
        ;;
    esac
done

# quietly <log> <command…>: writes a command's output to a file, and shows it only after a failure.
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

# configure <preset> [<option of cmake…>]: runs CMake. Without options, only after a change.
configure() {
    if [ "$#" -eq 1 ] && [ "build/$1/build.ninja" -nt CMakePresets.json ]; then
        quietly "build/$1.configure.log" cmake --build "build/$1" --target build.ninja
    else
        quietly "build/$1.configure.log" cmake --preset "$@"
    fi
}

# build <folder below build/> <target…>: builds. On a terminal shows the progress, otherwise only
# failures.
build() {
    if [ -t 1 ]; then
        cmake --build "build/$1" --target "${@:2}"
    else
        quietly "build/$1.build.log" cmake --build "build/$1" --target "${@:2}"
    fi
}

# provide <preset> <target…>: installs missing packages, configures and builds.
provide() {
    script/bootstrap
    echo "${0##*/}: building (some minutes the first time)"
    configure "$1"
    build "$@"
}
