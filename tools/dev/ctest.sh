# shellcheck shell=bash
# What CTest, and a test explorer that stands on it, sees of the tests.

# tests_of_reports SUITE: how many tests the programs of a suite have, by their reports.
tests_of_reports() {
    local program
    for program in ${SUITE_PROGRAMS[$1]} lum_window_tests; do
        [[ ! -s "$LOGS/$1/$program.json" ]] || outcomes_of "$LOGS/$1/$program.json"
    done | wc -l
}

# check_ctest SUITE PRESET: CTest lists what the programs have run, and can run one test that needs no server and one that
# needs them.
check_ctest() {
    local suite="$1" preset="$2" log="$LOGS/$1/ctest.log" listed ran outcome=failed
    say "    ctest"
    listed="$(cd "$BUILD/$preset" && ctest -N 2>"$log" | sed -n 's/^Total Tests: //p')"
    ran="$(tests_of_reports "$suite")"
    [[ -n "$listed" && "$listed" == "$ran" ]] && outcome=passed
    say "      CTest lists $listed tests, the programs have $ran"
    add_outcomes "$suite/ctest" <<<"$outcome CTestTest.ListsEveryTest"
    outcome=failed
    (cd "$BUILD/$preset" && ctest --output-on-failure --no-tests=error \
        -R '^(UrlComponentsTest\.VeryLongTextsArePrinted|WinHttpContractTest\.HeaderBytesBecome.*)$') >>"$log" 2>&1 </dev/null &&
        grep -q '100% tests passed, 0 tests failed out of 2' "$log" && outcome=passed
    [[ "$outcome" == passed ]] || show_tail "$log"
    add_outcomes "$suite/ctest" <<<"$outcome CTestTest.RunsATestWithAndWithoutServers"
}
