# shellcheck shell=bash
# The tests of ./dev itself, which stand in tests/command.

# run_command_suite NAME: each function test_NAME is a test.
run_command_suite() {
    local suite="$1" test log outcome
    local STAGE="$BUILD/command-test" STAGE_OUTPUT="" STAGE_CODE=0
    # shellcheck source=tests/command/CommandTest.sh
    source tests/command/CommandTest.sh
    mkdir -p "$LOGS/$suite"
    for test in $(declare -F | sed -n 's/^declare -f \(test_.*\)/\1/p'); do
        log="$LOGS/$suite/${test#test_}.log" outcome=failed
        make_stage "$STAGE"
        "$test" >"$log" 2>&1 && outcome=passed
        if [[ "$outcome" == failed ]]; then
            say "$STAGE_OUTPUT" >>"$log"
            show_tail "$log"
        fi
        add_outcomes "$suite/command" <<<"$outcome CommandTest.${test#test_}"
    done
    rm -rf "$STAGE"
}
