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

# is_own_wine_server ID: a server works in a folder that is named after the device and the inode of its prefix. One that
# has ended, but is not collected yet, works nowhere.
is_own_wine_server() {
    local id="$1" name prefix
    { read -r name <"/proc/$id/comm"; } 2>/dev/null && [[ "$name" == wineserver* ]] || return 1
    prefix="$(stat --format='%d %i' "$BUILD/wine-prefix" 2>/dev/null)" || return 1
    # shellcheck disable=SC2086
    [[ "$(readlink "/proc/$id/cwd" 2>/dev/null)" == */server-"$(printf '%x-%x' $prefix)" ]]
}

# end_wine_server ID: at the interrupt a server ends all that runs in its prefix, and then itself.
end_wine_server() {
    local id="$1" signal tenths
    for signal in INT KILL; do
        kill -s "$signal" "$id" 2>/dev/null || return 0
        for ((tenths = 0; tenths < 100; ++tenths)); do
            is_own_wine_server "$id" || return 0
            sleep 0.1
        done
    done
    return 1
}

# is_own_wine_program ID: Wine runs it, in an environment that names the prefix.
is_own_wine_program() {
    local program
    program="$(readlink "/proc/$1/exe" 2>/dev/null)" && [[ "${program##*/}" == wine* ]] || return 1
    grep --quiet --null-data --line-regexp --fixed-strings "WINEPREFIX=$BUILD/wine-prefix" "/proc/$1/environ" 2>/dev/null
}

# own_wine_programs: the ids of all, the server among them, in a line.
own_wine_programs() {
    local process ids=()
    for process in /proc/[0-9]*; do
        ! is_own_wine_program "${process#/proc/}" || ids+=("${process#/proc/}")
    done
    say "${ids[*]}"
}

# end_wine_programs: a server that had to be killed has ended nobody, and its programs wait for it for ever.
end_wine_programs() {
    local tenths left
    for ((tenths = 0; tenths < 100; ++tenths)); do
        left="$(own_wine_programs)"
        [[ -n "$left" ]] || return 0
        # shellcheck disable=SC2086
        kill -s KILL $left 2>/dev/null || true
        sleep 0.1
    done
    complain "programs of build/wine-prefix do not end: processes $left"
}

# Ends the server of the prefix and no other, and what is left of its programs then. There may be none, which must not
# become the run's own exit code.
leave_wine() {
    local process id
    for process in /proc/[0-9]*; do
        id="${process#/proc/}"
        is_own_wine_server "$id" || continue
        end_wine_server "$id" || complain "the server of build/wine-prefix, process $id, does not end"
    done
    end_wine_programs
    return 0
}

# end_windows_programs: what a program that had to be ended has started lives on without it, and would disturb those that
# follow. Only programs of the prefix are ended, and all are gone then, or named. The next one starts its server anew.
end_windows_programs() {
    [[ "${WINEPREFIX:-}" != "$BUILD/wine-prefix" ]] || leave_wine
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
