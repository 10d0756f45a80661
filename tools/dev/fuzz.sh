# shellcheck shell=bash
# Feeding hostile input that a fuzzer makes up. Its targets stand in tests/fuzz, a folder of seeds for each in
# tests/fuzz/corpus; what it finds out about each stays in build/fuzz/corpus for the next run. What has broken a target stays in
# build/fuzz/findings, and is tried first, until someone removes it.

FUZZ_PRESET=linux-x64-fuzz
FUZZ="$BUILD/fuzz"
# How long the tests run each target.
FUZZ_TEST_SECONDS=60
# A target that takes longer for one input hangs.
FUZZ_INPUT_LIMIT=25

declare -A FUZZ_MAX_LENGTH=([response]=16384)
FUZZ_USUAL_MAX_LENGTH=4096

fuzz_targets() {
    local folder
    for folder in tests/fuzz/corpus/*/; do basename "$folder"; done
}

# run_fuzzer LIMIT TARGET ARGUMENT...: adds what it says to the target's log.
run_fuzzer() {
    local limit="$1" target="$2"
    shift 2
    ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
        timeout --kill-after=20 "$limit" "$BUILD/$FUZZ_PRESET/tests/fuzz/lum_fuzz_$target" \
        -timeout="$FUZZ_INPUT_LIMIT" -artifact_prefix="$FUZZ/findings/$target-" "$@" >>"$LOGS/fuzz/$target.log" 2>&1 </dev/null
}

# replay_findings TARGET: what was found earlier must break nothing any more.
replay_findings() {
    local findings
    mapfile -t findings < <(findings_of "$1")
    ((${#findings[@]} == 0)) || run_fuzzer "$((${#findings[@]} * FUZZ_INPUT_LIMIT + 120))" "$1" "${findings[@]}"
}

# fuzz_target TARGET SECONDS: the fuzzer's exit code.
fuzz_target() {
    local target="$1" seconds="$2" corpus="$FUZZ/corpus/$1"
    mkdir -p "$corpus" "$FUZZ/findings"
    : >"$LOGS/fuzz/$target.log"
    replay_findings "$target" || return
    run_fuzzer "$((seconds + 120))" "$target" -max_total_time="$seconds" -print_final_stats=1 \
        -max_len="${FUZZ_MAX_LENGTH[$target]:-$FUZZ_USUAL_MAX_LENGTH}" "$corpus" "tests/fuzz/corpus/$target"
}

# Each target leaves its exit code in a file, which is how the caller knows that it has ended by itself.
fuzz_target_into_file() {
    local code=0
    fuzz_target "$@" || code=$?
    say "$code" >"$LOGS/fuzz/$1.code"
}

# fuzz_all SECONDS TARGET...: as many at a time as there are processors.
fuzz_all() {
    local seconds="$1" target running=0
    shift
    mkdir -p "$LOGS/fuzz"
    for target in "$@"; do
        rm -f "$LOGS/fuzz/$target.code"
        if ((running == $(nproc))); then
            wait -n || true
            running=$((running - 1))
        fi
        fuzz_target_into_file "$target" "$seconds" &
        running=$((running + 1))
    done
    wait
}

fuzz_code() { cat "$LOGS/fuzz/$1.code" 2>/dev/null || say "none"; }

findings_of() {
    local file
    for file in "$FUZZ/findings/$1-"*; do [[ -e "$file" ]] && say "${file#"$ROOT"/}"; done
    return 0
}

# fuzz_statistic TARGET NAME
fuzz_statistic() { sed -n "s/^stat::$2: *//p" "$LOGS/fuzz/$1.log" | tail -n 1; }

# Whether the target ran, and nothing broke it.
fuzz_passed() {
    [[ "$(fuzz_code "$1")" == 0 && "$(fuzz_statistic "$1" number_of_executed_units)" =~ ^[1-9][0-9]*$ ]]
}

# A row for each target: how many inputs it was given, and how many of them are kept since they went ways of their own.
fuzz_table() {
    local target kept findings
    printf '  %-10s %12s %13s %12s %9s\n' target executions executions/s "new corpus" findings
    for target in "$@"; do
        kept="$(find "$FUZZ/corpus/$target" -type f | wc -l)"
        findings="$(findings_of "$target" | wc -l)"
        printf '  %-10s %12s %13s %12s %9s\n' "$target" "$(fuzz_statistic "$target" number_of_executed_units)" \
            "$(fuzz_statistic "$target" average_exec_per_sec)" "$kept" "$findings"
    done
}

# What a target that has failed says, and where the input is that made it fail.
explain_finding() {
    complain "$1: the fuzzer ended with code $(fuzz_code "$1"); see build/logs/fuzz/$1.log"
    grep -aE 'broken promise|runtime error|ERROR: |SUMMARY: ' "$LOGS/fuzz/$1.log" | cut -c1-300 | sed 's/^/    /' || true
    findings_of "$1" | sed 's/^/    input: /'
}

# run_fuzz SECONDS [TARGET]
run_fuzz() {
    local seconds="${1:-}" targets target failed=0
    [[ "$seconds" =~ ^[1-9][0-9]{0,5}$ ]] || usage_error "for how many seconds each? '$seconds' is no number from 1 to 999999"
    mapfile -t targets < <(fuzz_targets)
    (($# <= 2)) || usage_error "fuzz takes a number and one target, and got '$3' too"
    if (($# > 1)); then
        [[ " ${targets[*]} " == *" $2 "* ]] || usage_error "there is no target '$2'; there are: ${targets[*]}"
        targets=("$2")
    fi
    plan "build $FUZZ_PRESET" "run ${targets[*]} for $seconds s each, $(nproc) at a time"
    need "${FUZZ_BUILD[@]}" || exit 1
    build_preset "$FUZZ_PRESET" "${targets[@]/#/lum_fuzz_}" || exit 1
    fuzz_all "$seconds" "${targets[@]}"
    fuzz_table "${targets[@]}"
    for target in "${targets[@]}"; do
        fuzz_passed "$target" && continue
        explain_finding "$target"
        failed=1
    done
    return "$failed"
}

# run_fuzz_suite NAME: each target is a test.
run_fuzz_suite() {
    local suite="$1" targets target
    mapfile -t targets < <(fuzz_targets)
    build_or_fail "$suite" "$FUZZ_PRESET" "${targets[@]/#/lum_fuzz_}" || return 0
    say "    ${#targets[@]} targets, $FUZZ_TEST_SECONDS s each, $(nproc) at a time"
    fuzz_all "$FUZZ_TEST_SECONDS" "${targets[@]}"
    fuzz_table "${targets[@]}"
    for target in "${targets[@]}"; do
        if fuzz_passed "$target"; then
            PASSED=$((PASSED + 1))
        else
            explain_finding "$target"
            add_failure "$suite/$target - (the fuzzer has found something, or has not run)"
        fi
    done
}
