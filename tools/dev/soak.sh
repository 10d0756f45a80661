# shellcheck shell=bash
# Running for long what the tests run for some seconds.

SOAK_SECONDS=60

all_soaks() {
    local file
    for file in "$ROOT"/tests/soak/*/CMakeLists.txt; do
        [[ -e "$file" ]] && basename "$(dirname "$file")"
    done
}

# run_soak NAME [SECONDS]
run_soak() {
    local name="${1:-}" seconds="${2:-$SOAK_SECONDS}"
    [[ -n "$name" && -e "tests/soak/$name/CMakeLists.txt" ]] ||
        usage_error "soak what: $(all_soaks | paste -sd ' ')?"
    [[ "$seconds" =~ ^[1-9][0-9]{0,4}$ ]] || usage_error "for how many seconds? '$seconds' is no number from 1 to 99999"
    plan "build linux-x64" "run the soak $name for $seconds s"
    need "${LINUX_BUILD[@]}" || exit 1
    build_preset linux-x64 "lum_soak_$name" || exit 1
    # What does not end by itself hangs.
    timeout --kill-after=20 "$((seconds + 120))" "$BUILD/linux-x64/tests/soak/$name/lum_soak_$name" "$seconds"
}
