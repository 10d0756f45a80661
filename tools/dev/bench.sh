# shellcheck shell=bash
# Running the benchmarks.

BENCH_LIMIT=1800

all_benchmarks() {
    local file
    for file in "$ROOT"/benchmarks/*/CMakeLists.txt; do
        [[ -e "$file" ]] && basename "$(dirname "$file")"
    done
}

run_benchmark() {
    local name="$1" file program="$BUILD/linux-x64-bench/benchmarks/$1/lum_bench_$1"
    say ""
    say "Benchmark $name"
    rm -f "$BUILD/bench/$name.json" "$BUILD/bench/$name.svg"
    timeout --kill-after=20 "$BENCH_LIMIT" "$program" || return 1
    for file in "$name.json" "$name.svg"; do
        if [[ ! -s "$BUILD/bench/$file" ]]; then
            complain "the benchmark wrote no build/bench/$file"
            return 1
        fi
        say "  build/bench/$file"
    done
}

run_benchmarks() {
    local names=("$@") name failed=0
    ((${#names[@]} > 0)) || mapfile -t names < <(all_benchmarks)
    ((${#names[@]} > 0)) || usage_error "there is no benchmark"
    for name in "${names[@]}"; do
        [[ -e "benchmarks/$name/CMakeLists.txt" ]] || usage_error "there is no benchmark '$name'; see benchmarks/"
    done
    plan "build linux-x64-bench" "run ${names[*]}, which write into build/bench"
    need "${LINUX_BUILD[@]}" "${TEST_SERVERS[@]}" "${BENCH_PEERS[@]}" || exit 1
    build_preset linux-x64-bench "${names[@]/#/lum_bench_}" || exit 1
    mkdir -p "$BUILD/bench"
    for name in "${names[@]}"; do
        run_benchmark "$name" && continue
        complain "benchmark $name failed"
        failed=1
    done
    return "$failed"
}
