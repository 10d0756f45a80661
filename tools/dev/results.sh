# shellcheck shell=bash
# Counting tests. The counts come from what the test programs write, never from what they print, save for a program that
# ended before it could write.

PASSED=0
FAILED=0
SKIPPED=0
FAILURES=()

# outcomes_of JSON: a line "passed|failed|skipped SUITE.TEST" for each test in a report of GoogleTest. Texts in a report
# never hold a line break, so its lines show its structure.
outcomes_of() {
    tr -d '\r' <"$1" | awk '
        function finish() { if (test != "") print outcome, test; test = "" }
        function text(line) { sub(/^[^:]*: "/, "", line); sub(/",?$/, "", line); gsub(/\\\//, "/", line); return line }
        /^ *"name": "/ { name = text($0) }
        /^ *"result": "/ {
            finish()
            outcome = (text($0) == "COMPLETED") ? "passed" : "skipped"
        }
        /^ *"classname": "/ { test = text($0) "." name }
        /^ *"failures": \[$/ { outcome = "failed" }
        END { finish() }'
}

# outcomes_in_log LOG: the same from the output of a program that did not live to write its report. The test that it
# was in counts as failed.
outcomes_in_log() {
    tr -d '\r' <"$1" | awk '
        /^\[ RUN      \] / { running = $4 }
        /^\[       OK \] / { print "passed", $4; running = "" }
        /^\[  SKIPPED \] / && running != "" { print "skipped", $4; running = "" }
        /^\[  FAILED  \] / && running != "" { sub(/,$/, "", $4); print "failed", $4; running = "" }
        END { if (running != "") print "failed", running }'
}

# add_failure NAME: one more failed test.
add_failure() {
    FAILED=$((FAILED + 1))
    FAILURES+=("$1")
}

# add_outcomes LABEL: counts the outcomes of standard input. In CI a skipped test is a failed one.
add_outcomes() {
    local label="$1" outcome test
    while read -r outcome test; do
        if [[ "$outcome" == passed ]]; then
            PASSED=$((PASSED + 1))
        elif [[ "$outcome" == skipped ]] && ! in_ci; then
            SKIPPED=$((SKIPPED + 1))
        else
            add_failure "$label $test$([[ "$outcome" == skipped ]] && say ' (skipped itself)')"
        fi
    done
}

# The output of one test in a log, for the summary.
output_of_test() {
    tr -d '\r' <"$1" | awk -v test="$2" '
        $1 == "[" && $2 == "RUN" && $4 == test { on = 1 }
        on && ++lines <= 40 { print "      " $0 }
        on && /^\[  (FAILED|SKIPPED) / { exit }'
}

# show_failures: the failed tests, with the output of the first few.
show_failures() {
    local failure program test shown=0
    ((${#FAILURES[@]} > 0)) || return 0
    say ""
    say "Failed:"
    for failure in "${FAILURES[@]}"; do
        say "  $failure"
        read -r program test _ <<<"$failure"
        if [[ -r "$LOGS/$program.log" ]] && ((shown++ < 8)); then
            output_of_test "$LOGS/$program.log" "$test"
        fi
    done
    say "  The whole output is in build/logs."
}

# close_run: the closing line, and the run's exit code.
close_run() {
    show_failures
    say "$PASSED passed, $FAILED failed, $SKIPPED skipped"
    ((FAILED == 0 && PASSED > 0))
}
