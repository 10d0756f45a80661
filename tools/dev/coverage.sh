# shellcheck shell=bash
# Which lines and branches of the sources the tests run.

# Percent of the lines of src/ that the tests run at least.
COVERAGE_GOAL=95

# What each test program counted adds up in these files.
forget_counts() { find "$1" -name '*.gcda' -delete; }

# report_coverage FOLDER: the table of files on the screen, the lines themselves in build/coverage/index.html.
report_coverage() {
    mkdir -p "$BUILD/coverage"
    # A call that may throw is no branch that anyone wrote.
    gcovr --root "$ROOT" --object-directory "$1" --filter 'src/' --exclude-throw-branches \
        --exclude-unreachable-branches --print-summary --fail-under-line "$COVERAGE_GOAL" \
        --txt "$BUILD/coverage/coverage.txt" --html-details "$BUILD/coverage/index.html" \
        --json-summary "$BUILD/coverage/coverage.json" "$1"
}

run_coverage() {
    take_no_arguments coverage "$@"
    local preset=linux-x64-coverage status=0
    plan "build $preset" "run the linux suite with it" "write what ran into build/coverage"
    # shellcheck disable=SC2086
    need ${SUITE_NEEDS[linux]} gcovr || exit 1
    LIMIT_FACTOR=4
    build_or_fail linux-coverage "$preset" || exit 1
    forget_counts "$BUILD/$preset"
    run_linux_suite linux-coverage "$preset"
    say ""
    report_coverage "$BUILD/$preset" || status=1
    say "  build/coverage/index.html"
    close_run && return "$status"
}
