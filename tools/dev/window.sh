# shellcheck shell=bash
# The example's window, on a screen that nobody sees.

# start_screen LOG: sets SCREEN_ID and DISPLAY.
start_screen() {
    local number="$BUILD/window-screen"
    : >"$number"
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$number" >"$1" 2>&1 &
    SCREEN_ID=$!
    local tenths
    for ((tenths = 0; tenths < 200; ++tenths)); do
        [[ ! -s "$number" ]] || break
        sleep 0.1
    done
    [[ -s "$number" ]] || return 1
    DISPLAY=":$(<"$number")"
    export DISPLAY
}

end_screen() {
    kill "$SCREEN_ID" 2>/dev/null || true
    wait "$SCREEN_ID" 2>/dev/null || true
    unset DISPLAY
}

# check_window SUITE: the example's window is driven, and shows what it should.
check_window() {
    local suite="$1" name=lum_window_tests SCREEN_ID=""
    mkdir -p "$LOGS/$suite"
    # Wine's desktop knows only the screen that it was started with.
    end_windows_programs
    if start_screen "$LOGS/$suite/screen.log"; then
        run_program "$suite/$name" "$(limit_of "$name")" "Z:" "$TEST_SERVER" -- wine "$BUILD/$suite/tests/$name.exe"
        end_windows_programs
    else
        add_failure "$suite/$name - (Xvfb does not start)"
        show_tail "$LOGS/$suite/screen.log"
    fi
    end_screen
}
