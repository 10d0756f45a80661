# shellcheck shell=bash
# The test suites: what each needs, which programs it runs and how. A new suite is a row in each table.

SUITES=(command linux managed windows-x86 windows-x64 fuzz)

declare -A SUITE_NEEDS=(
    [command]=""
    [linux]="${LINUX_BUILD[*]} ${TEST_SERVERS[*]} ${TEST_PEERS[*]} gdb pkg_config doxygen dpkg_deb"
    [managed]="${LINUX_BUILD[*]} ${TEST_SERVERS[*]} ${MANAGED_BUILD[*]} mono microsocks dante"
    [windows-x86]="${LINUX_BUILD[*]} ${TEST_SERVERS[*]} mingw_x86 mingw_x64 googletest_sources pkg_config wine wine_tls wine32 wine32_tls xvfb unzip ${MANAGED_BUILD[*]} npm dotnet_x86 microsocks dante"
    [windows-x64]="${LINUX_BUILD[*]} ${TEST_SERVERS[*]} mingw_x64 googletest_sources pkg_config wine wine_tls xvfb unzip ${MANAGED_BUILD[*]} microsocks dante"
    [fuzz]="${FUZZ_BUILD[*]}"
)

declare -A SUITE_RUNNER=(
    [command]=run_command_suite
    [linux]=run_linux_suite
    [managed]=run_managed_suite
    [windows-x86]=run_windows_suite
    [windows-x64]=run_windows_suite
    [fuzz]=run_fuzz_suite
)

declare -A SUITE_PROGRAMS=(
    [linux]="lum_unit_tests lum_peer_tests lum_fuzz_corpus lum_fuzz_header_corpus lum_boundary_tests lum_shared_tests lum_compile_tests lum_scripted_tests lum_posix_tests lum_platform_tests lum_transport_tests lum_allocation_tests"
    [windows-x86]="lum_unit_tests lum_peer_tests lum_fuzz_corpus lum_boundary_tests lum_platform_tests lum_transport_tests lum_allocation_tests"
    [windows-x64]="lum_unit_tests lum_peer_tests lum_fuzz_corpus lum_boundary_tests lum_platform_tests lum_transport_tests lum_allocation_tests"
)

# Programs that talk to servers are started by the command that starts the servers, and may take this many seconds.
declare -A PROGRAM_NEEDS_SERVERS=([lum_fuzz_corpus]=1 [lum_posix_tests]=1 [lum_platform_tests]=1 [lum_transport_tests]=1 [lum_allocation_tests]=1)
declare -A PROGRAM_LIMIT=([managed]=600 [lum_transport_tests]=1200 [lum_scripted_tests]=600)
USUAL_LIMIT=300
# A sanitizer makes a program slower.
LIMIT_FACTOR=1

# The servers always run natively, from the ordinary build.
TEST_SERVER="$BUILD/linux-x64/tests/support/server/lum_test_server"

limit_of() { say "$((${PROGRAM_LIMIT[$1]:-$USUAL_LIMIT} * LIMIT_FACTOR))"; }

# run_suite_program SUITE PRESET PROGRAM SUFFIX REPORT_PREFIX [STARTER...]
run_suite_program() {
    local suite="$1" preset="$2" program="$3" suffix="$4" prefix="$5"
    shift 5
    local path="$BUILD/$preset/tests/$program$suffix" command=("$@")
    if [[ ! -x "$path" ]]; then
        add_failure "$suite/$program - (the build made no such program)"
        return
    fi
    [[ -n "${PROGRAM_NEEDS_SERVERS[$program]:-}" ]] && command=("$TEST_SERVER" -- "$@")
    run_program "$suite/$program" "$(limit_of "$program")" "$prefix" "${command[@]}" "$path"
}

build_or_fail() {
    local suite="$1"
    shift
    build_preset "$@" && return 0
    add_failure "$suite - ($1 does not build)"
    return 1
}

# check_fetch SUITE PRESET SUFFIX [STARTER...]: the native example fetches its own site where it has one, else files
# from the tests' server.
check_fetch() {
    local suite="$1" preset="$2" suffix="$3" outcome=failed start=$SECONDS
    local log="$LOGS/$suite/fetch.log" program="$BUILD/$preset/examples/fetch/lum_fetch$3"
    shift 3
    say "    fetch"
    # shellcheck disable=SC2016
    local site='exec "$@" "http://127.0.0.1:$LUM_TEST_NGINX_PORT/licenses/GPL-2" "http://127.0.0.1:$LUM_TEST_NGINX_PORT/licenses/BSD"'
    local command=("$program")
    [[ -z "$suffix" ]] || command=("$TEST_SERVER" -- bash -c "$site" fetch "$@" "$program")
    timeout --kill-after=20 60 "${command[@]}" >"$log" 2>&1 </dev/null && outcome=passed
    [[ "$outcome" == passed ]] || show_tail "$log"
    add_outcomes "$suite/fetch" <<<"$outcome FetchTest.FetchesWhatItIsAskedFor"
    say "      $outcome, $((SECONDS - start)) s"
}

# run_linux_suite NAME [PRESET]
run_linux_suite() {
    local suite="$1" preset="${2:-linux-x64}" program
    build_or_fail "$suite" "$preset" || return 0
    [[ "$preset" == linux-x64 ]] || build_or_fail "$suite" linux-x64 lum_test_server || return 0
    for program in ${SUITE_PROGRAMS[linux]}; do
        run_suite_program "$suite" "$preset" "$program" "" ""
    done
    check_fetch "$suite" "$preset" ""
    [[ "$preset" != linux-x64 ]] || check_docs "$suite"
    [[ "$preset" != linux-x64 ]] || check_ctest "$suite" "$preset"
    # With a sanitizer it would be the sanitizer's library that is installed.
    if [[ "$preset" == linux-x64 ]]; then
        check_install "$suite" "$preset" ""
        check_packages "$suite" "$preset" ""
    fi
    return 0
}

# run_managed_program LABEL PREFIX COMMAND...: the managed tests, with word of the runtime on which they ran.
run_managed_program() {
    local label="$1" prefix="$2"
    shift 2
    run_program "$label" "$(limit_of managed)" "$prefix" "$TEST_SERVER" --proxies -- "$@"
    say "      $(grep -a -m 1 '^On ' "$LOGS/$label.log" | tr -d '\r' || say "on no runtime")"
}

# run_managed_suite NAME: a program for .NET, and one for .NET Framework, which Mono runs.
run_managed_suite() {
    local suite="$1" native="$BUILD/linux-x64" program="$MANAGED/LumManagedTests/release/LumManagedTests"
    local starter=(env "LD_LIBRARY_PATH=$native/src:$native/tests/managed/native")
    build_or_fail "$suite" linux-x64 lum_test_server lumutilsWinCli_shared lum_managed_native || return 0
    if ! build_managed tests/managed/LumManagedTests.csproj ||
        ! build_managed tests/managed/framework/LumManagedTestsFramework.csproj; then
        add_failure "$suite - (the managed tests do not build)"
        return 0
    fi
    run_managed_program "$suite/dotnet" "" "${starter[@]}" \
        dotnet exec --runtimeconfig "$program.runtimeconfig.json" "$program.dll"
    run_managed_program "$suite/mono" "" "${starter[@]}" mono "$MANAGED/LumManagedTestsFramework/release/LumManagedTests.exe"
}

# check_compiler SUITE: what must not compile, with the compiler that the suite is built with. It runs here, as it does in
# the build, and so does the program that tries it.
check_compiler() {
    local suite="$1" name=lum_compile_tests
    run_program "$suite/$name" "$(limit_of "$name")" "" \
        env "LUM_TEST_COMPILER=$(cat "$BUILD/$suite/tests/compiler")" "$BUILD/linux-x64/tests/$name"
}

# check_locks_across_widths SUITE: the 32-bit tests of share modes and locks beside a 64-bit process.
check_locks_across_widths() {
    local suite="$1" name=lum_platform_tests
    [[ "$suite" == windows-x86 ]] || return 0
    build_or_fail "$suite" windows-x64 lum_file_holder || return 0
    run_program "$suite/$name-beside-x64" "$(limit_of "$name")" "Z:" \
        env "LUM_TEST_FILE_HOLDER=Z:$BUILD/windows-x64/tests/lum_file_holder.exe" wine "$BUILD/$suite/tests/$name.exe" \
        "--gtest_filter=LockedOperationContractTest.*:*BesideHolderTest.*:*ShareModeTest.*:FileContractTest.*"
}

# Of .NET for Windows the SDK brings a 64-bit one into a program; the 32-bit one is the tests' own, and older.
declare -A WINE_PUBLISH=(
    [windows-x64]="--runtime win-x64 --self-contained"
    [windows-x86]="-p:LumRuntime=netcoreapp2.0"
)

# wine_program SUITE NAME: where the published program is.
wine_program() { say "$BUILD/managed/$2-${1/windows/win}"; }

# publish_for_wine SUITE NAME PROJECT
publish_for_wine() {
    local suite="$1" name="$2" project="$3" options
    read -r -a options <<<"${WINE_PUBLISH[$suite]}"
    run_logged "$LOGS/$suite/$name-build.log" run_dotnet publish "$project" --configuration Release "${options[@]}" \
        --nologo -p:UseSharedCompilation=false --output "$(wine_program "$suite" "$name")" && return 0
    add_failure "$suite/$name - (it does not build)"
    return 1
}

# Wine reads .NET's assemblies as libraries, and these ask for mscoree. .NET's memory cannot be mapped twice there, to write
# and to run. The code page comes from the locale, and the tests' texts are western.
WINE_DOTNET=(env "WINEDLLOVERRIDES=mshtml=;winemenubuilder.exe=d" DOTNET_EnableWriteXorExecute=0 LC_ALL=C)

# wine_command SUITE NAME PROGRAM: what starts the published program, a word a line.
wine_command() {
    local folder
    folder="$(wine_program "$1" "$2")"
    if [[ "$1" == windows-x86 ]]; then
        printf '%s\n' wine "$DOTNET_X86/dotnet.exe" "Z:$folder/$3.dll"
    else
        printf '%s\n' wine "$folder/$3.exe"
    fi
}

# check_managed SUITE: the managed tests on the module as it ships, which they find as any library of the system.
check_managed() {
    local suite="$1" folders command
    publish_for_wine "$suite" managed-tests tests/managed/windows/LumManagedTestsWindows.csproj || return 0
    folders="Z:$BUILD/$suite/src;Z:$BUILD/$suite/tests/managed/native"
    mapfile -t command < <(wine_command "$suite" managed-tests LumManagedTests)
    run_managed_program "$suite/managed" "Z:" "${WINE_DOTNET[@]}" "WINEPATH=${folders//\//\\}" "${command[@]}"
}

# run_wine_host SUITE LOG SCRIPT: the example's host, with the arguments that the script gives it.
run_wine_host() {
    local suite="$1" log="$2" script="$3" command code=0
    mapfile -t command < <(wine_command "$suite" desktop-host DesktopHost)
    timeout --kill-after=20 120 "$TEST_SERVER" --proxies -- bash -c "$script" host "${WINE_DOTNET[@]}" \
        "${command[@]}" --output "Z:$BUILD/desktop-host-${suite/windows/win}" >"$log" 2>&1 </dev/null || code=$?
    end_after "$code"
    return "$code"
}

# What comes without a proxy must come directly, and fail on the other way: else that way leads past the proxy.
fails_without_proxy() {
    local suite="$1" log="$2"
    run_wine_host "$suite" "$log" "$NO_PROXY" && grep -qE '^ +direct +200, ' "$log" && grep -qE '^ +proxy +failed: ' "$log" &&
        grep -qE '^ +error: \[GET http://[^]]*/one\.bin\] HttpWorkerThread: SOCKS HTTP request error: ' "$log"
}

# check_desktop_host SUITE: the example's host, through a real proxy, on the module as it ships.
check_desktop_host() {
    local suite="$1" folder start=$SECONDS log="$LOGS/$1/desktop-host.log"
    local passed=$PASSED failed=$FAILED outcome=failed
    folder="$(wine_program "$suite" desktop-host)"
    say "    desktop-host"
    publish_for_wine "$suite" desktop-host examples/desktop-host/DesktopHost.csproj || return 0
    cp "$BUILD/$suite/src/liblumutilsWinCli.dll" "$BUILD/$suite/examples/desktop-host/native/liblum_desktop_module.dll" "$folder"
    run_wine_host "$suite" "$log" "$OWN_SITE" && outcome=passed
    [[ "$outcome" == passed ]] || show_tail "$log"
    add_outcomes "$suite/desktop-host" <<<"$outcome DesktopHostTest.FetchesTheSameDirectlyAndThroughTheProxy"
    outcome=failed log="$LOGS/$suite/desktop-host-no-proxy.log"
    fails_without_proxy "$suite" "$log" && outcome=passed
    [[ "$outcome" == passed ]] || show_tail "$log"
    add_outcomes "$suite/desktop-host-no-proxy" <<<"$outcome DesktopHostTest.FetchesNothingThroughAProxyThatIsNotThere"
    say "      $((PASSED - passed)) passed, $((FAILED - failed)) failed, $((SECONDS - start)) s"
}

# run_windows_suite NAME, which is also its preset.
run_windows_suite() {
    local suite="$1" program
    build_or_fail "$suite" linux-x64 lum_test_server lum_compile_tests || return 0
    build_or_fail "$suite" "$suite" || return 0
    if ! prepare_wine; then
        add_failure "$suite - (Wine does not start)"
        return 0
    fi
    for program in ${SUITE_PROGRAMS[$suite]}; do
        # Wine shows the root of the file system as drive Z.
        run_suite_program "$suite" "$suite" "$program" ".exe" "Z:" wine
    done
    check_compiler "$suite"
    check_locks_across_widths "$suite"
    check_managed "$suite"
    check_fetch "$suite" "$suite" ".exe" wine
    check_window "$suite"
    check_desktop_host "$suite"
    check_ctest "$suite" "$suite"
    check_exports "$suite"
    check_install "$suite" "$suite" ".exe" wine
    check_packages "$suite" "$suite" ".exe" wine
}

# skip_suite NAME NEED...: says what is missing. In CI it is a failure.
skip_suite() {
    local suite="$1" lacks
    shift
    lacks="$(describe_needs "$@")"
    explain_missing "$@"
    if in_ci; then
        add_failure "$suite - (cannot run here, lacks: $lacks)"
    else
        SKIPPED=$((SKIPPED + 1))
        say "  $suite skipped, lacks: $lacks"
    fi
}

run_suite() {
    local suite="$1" missing passed=$PASSED failed=$FAILED skipped=$SKIPPED start=$SECONDS
    say ""
    say "Suite $suite"
    # shellcheck disable=SC2086
    mapfile -t missing < <(missing_of ${SUITE_NEEDS[$suite]})
    if ((${#missing[@]} > 0)); then
        skip_suite "$suite" "${missing[@]}"
    else
        "${SUITE_RUNNER[$suite]}" "$suite"
    fi
    say "  Suite $suite: $((PASSED - passed)) passed, $((FAILED - failed)) failed, $((SKIPPED - skipped)) skipped in" \
        "$((SECONDS - start)) s"
}

check_suite_names() {
    local suite
    for suite in "$@"; do
        [[ -n "${SUITE_RUNNER[$suite]:-}" ]] || usage_error "there is no suite '$suite'; there are: ${SUITES[*]}"
    done
}

run_tests() {
    local suites=("$@") suite words needs=()
    ((${#suites[@]} > 0)) || suites=("${SUITES[@]}")
    check_suite_names "${suites[@]}"
    plan "install what is missing" "for each of ${suites[*]}: build, then run its test programs"
    for suite in "${suites[@]}"; do
        read -r -a words <<<"${SUITE_NEEDS[$suite]}"
        needs+=("${words[@]}")
    done
    fill_needs "${needs[@]}"
    for suite in "${suites[@]}"; do run_suite "$suite"; done
    close_run
}

check_sanitizer() {
    [[ "$1" == address || "$1" == thread ]] || usage_error "sanitize what: address or thread?"
}

set_sanitizer_options() {
    export ASAN_OPTIONS="detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1:exitcode=66"
    export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
    export TSAN_OPTIONS="halt_on_error=0:second_deadlock_stack=1:exitcode=66"
}

run_sanitized() {
    local kind="${1:-}"
    check_sanitizer "$kind"
    (($# == 1)) || usage_error "sanitize takes one kind, and got '$2' too"
    plan "build linux-x64-$kind" "run the linux suite with it"
    set_sanitizer_options
    LIMIT_FACTOR=4
    # shellcheck disable=SC2086
    need ${SUITE_NEEDS[linux]} || exit 1
    run_linux_suite "linux-$kind" "linux-x64-$kind"
    close_run
}
