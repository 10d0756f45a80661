#!/usr/bin/env bash
# Starts a Windows test program for CTest: under Wine, in the prefix below build/, which Wine makes when it is first used.
#
#     wine-test.sh [--screen] PROGRAM [ARGUMENT...]
#
# With --screen it has a screen that nobody sees.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
export WINEPREFIX="${WINEPREFIX:-$root/build/wine-prefix}" WINEDEBUG="${WINEDEBUG:--all}"
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=;winemenubuilder.exe=d}"
unset DISPLAY WAYLAND_DISPLAY

run_on_screen() {
    local number screen code=0
    number="$(mktemp)"
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$number" >/dev/null 2>&1 &
    screen=$!
    for _ in {1..100}; do [[ -s "$number" ]] || sleep 0.1; done
    DISPLAY=":$(<"$number")" wine "$@" || code=$?
    kill "$screen"
    rm -f "$number"
    return "$code"
}

start=(wine)
if [[ "$1" == --screen ]]; then
    start=(run_on_screen)
    shift
fi
# CTest would take the carriage returns of a Windows program for a part of the tests' names.
if [[ " $* " == *" --gtest_list_tests "* ]]; then
    wine "$@" </dev/null | tr -d '\r'
else
    "${start[@]}" "$@"
fi
