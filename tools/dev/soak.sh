# shellcheck shell=bash
# Running for long what the tests run for some seconds.

SOAK_SECONDS=60

all_soaks() {
    local file
    for file in "$ROOT"/tests/soak/*/CMakeLists.txt; do
        [[ -e "$file" ]] && basename "$(dirname "$file")"
    done
}

# The command that runs a soak, a word a line.
soak_command() {
    local name="$1" preset="$2" seconds="$3" seed="$4" program prefix=""
    program="$BUILD/$preset/tests/soak/$name/lum_soak_$name"
    [[ "$name" != networking ]] || printf '%s\n' "$TEST_SERVER" --
    if [[ "$preset" == windows-* ]]; then
        # Wine shows the root of the file system as drive Z.
        prefix="Z:" program="$BUILD/$preset/tests/lum_soak_$name.exe"
        say wine
    fi
    printf '%s\n' "$program" "$seconds"
    [[ "$name" == networking ]] || return 0
    printf '%s\n' "${seed:-$((RANDOM * 32768 + RANDOM))}" "$prefix$BUILD/soak/networking.svg"
}

run_one_soak() {
    local name="$1" command code=0
    mapfile -t command < <(soak_command "$@")
    say ""
    say "Soak $name"
    # What does not end by itself hangs.
    timeout --kill-after=20 "$(($3 + 120))" "${command[@]}" || code=$?
    end_after "$code"
    return "$code"
}

# Builds the soaks' programs, and the server, which always runs natively.
build_soaks() {
    local preset="$1"
    shift
    build_preset "$preset" "${@/#/lum_soak_}" && build_preset linux-x64 lum_test_server
}

# run_soak [--sanitize KIND | --windows WIDTH] [NAME] [SECONDS [SEED]]
run_soak() {
    local names=() name seconds seed preset=linux-x64 failed=0 needs=("${LINUX_BUILD[@]}" "${TEST_SERVERS[@]}")
    if [[ "${1:-}" == --sanitize ]]; then
        check_sanitizer "${2:-}"
        preset="linux-x64-$2"
        set_sanitizer_options
        shift 2
    elif [[ "${1:-}" == --windows ]]; then
        [[ "${2:-}" =~ ^x(86|64)$ ]] || usage_error "soak on which Windows: x86 or x64?"
        preset="windows-$2"
        needs+=(mingw_x64 googletest_sources wine)
        [[ "$2" == x64 ]] || needs+=(mingw_x86 wine32)
        shift 2
    fi
    mapfile -t names < <(all_soaks)
    if [[ "${1:-}" == [a-z]* ]]; then
        [[ -e "tests/soak/$1/CMakeLists.txt" ]] || usage_error "soak what: $(all_soaks | paste -sd ' ')?"
        names=("$1")
        shift
    fi
    seconds="${1:-$SOAK_SECONDS}" seed="${2:-}"
    [[ "$seconds" =~ ^[1-9][0-9]{0,4}$ ]] || usage_error "for how many seconds? '$seconds' is no number from 1 to 99999"
    [[ "$seed" =~ ^[0-9]{0,18}$ ]] || usage_error "with which seed? '$seed' is no number"
    (($# <= 2)) || usage_error "soak takes a number of seconds and a seed, and got '$3' too"
    plan "build $preset" "run for $seconds s: ${names[*]}"
    need "${needs[@]}" || exit 1
    build_soaks "$preset" "${names[@]}" || exit 1
    [[ "$preset" != windows-* ]] || prepare_wine || exit 1
    mkdir -p "$BUILD/soak"
    for name in "${names[@]}"; do
        run_one_soak "$name" "$preset" "$seconds" "$seed" && continue
        complain "soak $name failed"
        failed=1
    done
    return "$failed"
}
