# shellcheck shell=bash
# Running the benchmarks.

BENCH_LIMIT=1800

all_benchmarks() {
    local file
    for file in "$ROOT"/benchmarks/*/CMakeLists.txt; do
        [[ -e "$file" ]] && basename "$(dirname "$file")"
    done
}

# A benchmark with a managed project is a managed program, which loads the native one.
is_managed_benchmark() { [[ -e "$ROOT/benchmarks/$1/BoundaryBench.csproj" ]]; }

# A benchmark whose loads run under Wine, in both widths.
is_windows_benchmark() { [[ "$1" == windows ]]; }

WINDOWS_LOADS=lum_bench_windows_loads

build_windows_loads() {
    build_preset windows-x64 "$WINDOWS_LOADS" && build_preset windows-x86 "$WINDOWS_LOADS" && prepare_wine
}

# The command that runs a benchmark, a word a line.
command_of_benchmark() {
    local native="$BUILD/linux-x64-bench"
    if is_managed_benchmark "$1"; then
        printf '%s\n' env "LD_LIBRARY_PATH=$native/src:$native/benchmarks/$1" \
            dotnet exec "$MANAGED/BoundaryBench/release/BoundaryBench.dll"
    elif is_windows_benchmark "$1"; then
        printf '%s\n' "$native/benchmarks/$1/lum_bench_$1" "$BUILD/windows-x64/benchmarks/$1/$WINDOWS_LOADS.exe" \
            "$BUILD/windows-x86/benchmarks/$1/$WINDOWS_LOADS.exe"
    else
        say "$native/benchmarks/$1/lum_bench_$1"
    fi
}

run_benchmark() {
    local name="$1" file program
    mapfile -t program < <(command_of_benchmark "$name")
    say ""
    say "Benchmark $name"
    rm -f "$BUILD/bench/$name.json" "$BUILD/bench/$name.svg"
    timeout --kill-after=20 "$BENCH_LIMIT" "${program[@]}" || return 1
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
    for name in "${names[@]}"; do
        if is_managed_benchmark "$name"; then
            need "${MANAGED_BUILD[@]}" || exit 1
            build_managed "benchmarks/$name/BoundaryBench.csproj" || exit 1
        elif is_windows_benchmark "$name"; then
            need "${WINDOWS_BENCH[@]}" || exit 1
            build_windows_loads || exit 1
        fi
    done
    mkdir -p "$BUILD/bench"
    for name in "${names[@]}"; do
        run_benchmark "$name" && continue
        complain "benchmark $name failed"
        failed=1
    done
    return "$failed"
}
