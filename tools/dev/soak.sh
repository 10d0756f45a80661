# shellcheck shell=bash
# Running for long what the tests run for some seconds.

SOAK_SECONDS=60

all_soaks() {
    local file
    for file in "$ROOT"/tests/soak/*/CMakeLists.txt; do
        [[ -e "$file" ]] && basename "$(dirname "$file")"
    done
}

# The arguments of a soak's program, a word a line.
soak_arguments() {
    local name="$1" seconds="$2" seed="$3"
    say "$seconds"
    [[ "$name" == networking ]] || return 0
    printf '%s\n' "${seed:-$((RANDOM * 32768 + RANDOM))}" "$BUILD/soak/networking.svg"
}

run_one_soak() {
    local name="$1" preset="$2" seconds="$3" seed="$4" arguments
    mapfile -t arguments < <(soak_arguments "$name" "$seconds" "$seed")
    say ""
    say "Soak $name"
    # What does not end by itself hangs.
    timeout --kill-after=20 "$((seconds + 120))" "$BUILD/$preset/tests/soak/$name/lum_soak_$name" "${arguments[@]}"
}

# run_soak [--sanitize KIND] [NAME] [SECONDS [SEED]]
run_soak() {
    local names=() name seconds seed preset=linux-x64 failed=0
    if [[ "${1:-}" == --sanitize ]]; then
        check_sanitizer "${2:-}"
        preset="linux-x64-$2"
        set_sanitizer_options
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
    plan "build $preset" "run for $seconds s: ${names[*]}"
    need "${LINUX_BUILD[@]}" || exit 1
    build_preset "$preset" "${names[@]/#/lum_soak_}" || exit 1
    mkdir -p "$BUILD/soak"
    for name in "${names[@]}"; do
        run_one_soak "$name" "$preset" "$seconds" "$seed" && continue
        complain "soak $name failed"
        failed=1
    done
    return "$failed"
}
