# shellcheck shell=bash
# The Wine prefix of the tests: one below build/, used by nothing else.

WINE_LIMIT=300

enter_wine() {
    export WINEPREFIX="$BUILD/wine-prefix" WINEDEBUG=-all
    # No menus, no browser, no other runtime: none of them is needed, and some would ask.
    export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
    unset DISPLAY WAYLAND_DISPLAY
    trap leave_wine EXIT
}

# There may be no server left to end, which must not become the run's own exit code.
leave_wine() {
    [[ -d "$BUILD/wine-prefix" ]] || return 0
    WINEPREFIX="$BUILD/wine-prefix" wineserver -k >/dev/null 2>&1 || true
}

# end_windows_programs: what a program that had to be ended has started lives on without it, and would disturb those that
# follow. Only programs of the prefix are ended; the next one starts its server anew.
end_windows_programs() {
    [[ "${WINEPREFIX:-}" == "$BUILD/wine-prefix" ]] || return 0
    leave_wine
    timeout "$WINE_LIMIT" wineserver -w || complain "programs of build/wine-prefix do not end"
}

# end_after CODE: the same if the code is that of a program that ran into its limit.
end_after() { (($1 != 124 && $1 != 137)) || end_windows_programs; }

# A prefix that was made before 32-bit Wine was there cannot run 32-bit programs.
prefix_kind() { if has_wine32; then say both; else say only-64; fi; }

# prepare_wine: makes the prefix unless it is there.
prepare_wine() {
    local mark="$BUILD/wine-prefix.made"
    enter_wine
    [[ -d "$WINEPREFIX" && "$(cat "$mark" 2>/dev/null)" == "$(prefix_kind)" ]] && return 0
    say "Making the Wine prefix build/wine-prefix"
    leave_wine
    rm -rf "$WINEPREFIX" "$mark"
    run_logged "$LOGS/wineboot.log" timeout "$WINE_LIMIT" wineboot --init || return 1
    prefix_kind >"$mark"
}
