#!/usr/bin/env bash
# Starts a Windows test program for CTest: under Wine, in the prefix below build/, which Wine makes when it is first used.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
export WINEPREFIX="${WINEPREFIX:-$root/build/wine-prefix}" WINEDEBUG="${WINEDEBUG:--all}"
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=;winemenubuilder.exe=d}"
unset DISPLAY WAYLAND_DISPLAY
# CTest would take the carriage returns of a Windows program for a part of the tests' names.
if [[ " $* " == *" --gtest_list_tests "* ]]; then
    wine "$@" </dev/null | tr -d '\r'
else
    exec wine "$@"
fi
