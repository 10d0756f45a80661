# shellcheck shell=bash
# Running one test program under a time limit and taking in its outcomes.

# A sign of life while a program runs: the test that it is in.
beat() {
    local log="$1" line
    while sleep 30; do
        line="$(grep -a '^\[ RUN' "$log" | tail -n 1 | tr -d '\r')"
        say "      ... ${line#*] }"
    done
}

# run_limited SECONDS LOG COMMAND...
run_limited() {
    local limit="$1" log="$2" heart code=0
    shift 2
    beat "$log" &
    heart=$!
    # The outer redirection takes the shell's own word on a program that died.
    { timeout --kill-after=20 "$limit" "$@" >"$log" 2>&1 </dev/null || code=$?; } 2>/dev/null
    kill "$heart" 2>/dev/null || true
    wait "$heart" 2>/dev/null || true
    return "$code"
}

describe_end() {
    case "$1" in
    124 | 137) say "ran longer than $2 s, or was killed" ;;
    *) say "ended with code $1" ;;
    esac
}

# judge LABEL CODE LIMIT FAILED_BEFORE: a program that fails without a failed test, such as one with a leak, and one
# that ends early or runs nothing, is one failure more.
judge() {
    local label="$1" code="$2" limit="$3" failed_before="$4" report="$LOGS/$1.json" log="$LOGS/$1.log"
    if [[ ! -s "$report" ]]; then
        add_outcomes "$label" < <(outcomes_in_log "$log")
        add_failure "$label - ($(describe_end "$code" "$limit") and left no report)"
        return
    fi
    local outcomes
    outcomes="$(outcomes_of "$report")"
    if [[ -z "$outcomes" ]]; then
        add_failure "$label - (ran no test)"
        return
    fi
    add_outcomes "$label" <<<"$outcomes"
    if ((code != 0 && FAILED == failed_before)); then
        add_failure "$label - ($(describe_end "$code" "$limit"), though no test failed)"
        show_tail "$log"
    fi
}

# run_program LABEL LIMIT REPORT_PREFIX COMMAND...: LABEL is the path of its log below build/logs. REPORT_PREFIX stands
# before the report's path, for a program that sees another file system.
run_program() {
    local label="$1" limit="$2" prefix="$3" code=0 start=$SECONDS
    local passed=$PASSED failed=$FAILED skipped=$SKIPPED
    shift 3
    mkdir -p "$(dirname "$LOGS/$label")"
    rm -f "$LOGS/$label.json" "$LOGS/$label.log"
    say "    $(basename "$label")"
    run_limited "$limit" "$LOGS/$label.log" "$@" "--gtest_output=json:$prefix$LOGS/$label.json" || code=$?
    end_after "$code"
    judge "$label" "$code" "$limit" "$failed"
    say "      $((PASSED - passed)) passed, $((FAILED - failed)) failed, $((SKIPPED - skipped)) skipped," \
        "$((SECONDS - start)) s"
}
