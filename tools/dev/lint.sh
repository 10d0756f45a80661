# shellcheck shell=bash
# Formatting, static analysis, and the rules of the house that no tool knows.

LINT_FAILED=0

report() {
    if [[ -n "$2" ]]; then
        LINT_FAILED=1
        say "  FAILED: $1"
        say "$2" | awk 'NR <= 200 { print "    " $0 }'
    else
        say "  ok: $1"
    fi
}

tracked() { git ls-files --cached --others --exclude-standard -- "$@"; }

# in_files PATTERN FILE...: file:line:text of what must not be there.
in_files() {
    local pattern="$1"
    shift
    (($# == 0)) || grep -nHE -- "$pattern" "$@" || true
}

lint_format() {
    local files
    mapfile -t files < <(tracked '*.h' '*.cpp')
    report "clang-format" "$(printf '%s\0' "${files[@]}" |
        xargs -0 -r -n 8 -P "$(nproc)" "$(clang_tool clang-format)" --dry-run --Werror 2>&1 || say "(not formatted)")"
}

# The analysis reads the commands of the ordinary build, without what only its compiler knows. Warnings of the compiler
# are that build's business.
write_tidy_commands() {
    mkdir -p "$BUILD/lint"
    sed -E 's/ -fno-gnu-unique| -Werror//g' "$BUILD/linux-x64/compile_commands.json" >"$BUILD/lint/compile_commands.json"
}

lint_tidy() {
    local files output
    write_tidy_commands
    # The commands know nothing of the other system's sources.
    mapfile -t files < <(tracked 'src/*.cpp' | grep -v '^src/platform/windows/')
    if output="$(printf '%s\0' "${files[@]}" | xargs -0 -r -n 1 -P "$(nproc)" "$(clang_tool clang-tidy)" \
        -p "$BUILD/lint" --quiet --extra-arg=-Wno-unknown-warning-option 2>&1)"; then
        output=""
    fi
    report "clang-tidy" "$(grep -vE '^[0-9]+ warnings?( and [0-9]+ errors?)? (generated|treated)' <<<"$output" || true)"
}

# clang_commands PRESET OPTIONS: how clang would look at each of the library's sources, a command a line. What only GCC
# knows is left out; for Windows it is told where GCC's headers are.
clang_commands() {
    sed -nE 's/^ *"command": "(.*)",$/\1/p' "$BUILD/$1/compile_commands.json" | sed -E 's/\\(.)/\1/g' |
        grep -E ' -c [^ ]*/src/(common|Windows|platform)/' |
        sed -E "s#^([^ ]*ccache )?[^ ]+ #clang++-14 $2 -fsyntax-only -Wno-unknown-warning-option #
            s/ -o [^ ]+ -c / / ; s/ -(fno-gnu-unique|Wa,[^ ]+)//g ; s/\$/ -Wno-format-nonliteral/"
}

# mingw_headers TRIPLE: the options that stand for what GCC's driver knows by itself.
mingw_headers() {
    local folder
    folder="$(dirname "$("$1-g++-posix" -print-libgcc-file-name)")/include/c++"
    say "--target=$1 -isystem $folder -isystem $folder/$1"
}

# lint_clang PRESET OPTIONS
lint_clang() {
    local output
    output="$(clang_commands "$1" "$2" |
        (cd "$BUILD/$1" && xargs -r -d '\n' -n 1 -P "$(nproc)" bash -c 2>&1))" || output+=" (clang failed)"
    (($(clang_commands "$1" "$2" | wc -l) > 30)) || output="(there are no commands to look at)"
    report "clang has nothing to say of $1" "$output"
}

# The committed form of what the Linux library offers to programs that were built with it.
ABI_BASELINE=docs/abi/linux-x64.abi

# write_abi FILE: without what hosts do not call.
write_abi() {
    abidw --no-corpus-path --no-comp-dir-path --no-show-locs --drop-private-types --exported-interfaces-only \
        --suppressions docs/abi/internal.supp --headers-dir src/common --headers-dir src/Windows \
        "$BUILD/linux-x64/src/liblumutilsWinCli.so" --out-file "$1"
}

# Names that are added break nobody.
lint_abi() {
    local output
    if output="$(write_abi "$BUILD/lint/linux-x64.abi" 2>&1 && abidiff --no-added-syms "$ABI_BASELINE" "$BUILD/lint/linux-x64.abi" 2>&1)"; then
        output=""
    fi
    report "the library's binary interface is that of $ABI_BASELINE (./dev exports writes it anew)" "$output"
}

lint_shell() {
    report "shellcheck" "$(shellcheck -x -a dev .ci/run tests/command/CommandTest.sh tests/support/wine-test.sh 2>&1 || true)"
}

# Only one room knows which system it is on.
rule_platform_room() {
    local files outside
    mapfile -t files < <(tracked '*.h' '*.cpp' | grep -vE '^(src/platform|tests/support/server|benchmarks)/')
    report "_WIN32 occurs only in src/platform" \
        "$(in_files '\b(_WIN32|_WIN64|WIN32|__linux__|__unix__)\b' "${files[@]}")"
    mapfile -t outside < <(printf '%s\n' "${files[@]}" | grep -E '^src/')
    report "system headers are included only in src/platform" "$(in_files \
        '^ *# *include *<(windows\.h|winhttp\.h|curl/|unistd\.h|fcntl\.h|pthread\.h|poll\.h|netdb\.h|dlfcn\.h|sys/|arpa/|netinet/|linux/)' \
        "${outside[@]}")"
}

rule_standard_language() {
    local files
    mapfile -t files < <(tracked 'src/*.h' 'src/*.cpp' | grep -v '^src/platform/posix/')
    report "no compiler's own language in src" \
        "$(in_files '__attribute__|__builtin|\btypeof\b|__typeof|__extension__|__int128|[(][{][^}]*;' "${files[@]}")"
}

rule_one_way_to_log() {
    local files
    mapfile -t files < <(tracked 'src/*.h' 'src/*.cpp' | grep -vx 'src/common/utils/LumLog.h')
    report "delegates are called only by LumLog.h" \
        "$(in_files '(->|\.) *log(Fatal|Error|Warning|Info|Verbose|AOL) *\(' "${files[@]}")"
}

# Under pipefail a reader that stops at the first match makes the writer's death the outcome.
rule_whole_pipes() {
    local files
    mapfile -t files < <(tracked dev .ci/run 'tools/dev/*.sh')
    report "no pipe ends in a grep that stops early" "$(in_files '\| *grep (-[a-zA-Z]*q|--quiet)' "${files[@]}")"
}

rule_comments() {
    local files
    mapfile -t files < <(tracked '*.h' '*.cpp' '*.cs' '*.txt' '*.cmake')
    report "NOLINT says what and why" "$(in_files 'NOLINT' "${files[@]}" |
        grep -vE 'NOLINTEND|NOLINT(NEXTLINE|BEGIN)?(\([a-z0-9.,* -]+\))?: .{10,}' || true)"
    # Spelt so that this file does not find itself.
    report "no notes to oneself" "$(in_files '\b(TO''DO|FIX''ME|HA''CK|X''XX)\b' "${files[@]}")"
}

rule_readme_example() {
    mkdir -p "$BUILD/lint"
    awk '/^```cpp/ { on = 1; next } /^```/ { on = 0 } on' README.md >"$BUILD/lint/readme.cpp"
    report "the README's example compiles" \
        "$(c++ -std=c++17 -Wall -Wextra -Wpedantic -Isrc -fsyntax-only "$BUILD/lint/readme.cpp" 2>&1 || true)"
    report "the README has an example" "$([[ -s "$BUILD/lint/readme.cpp" ]] || say "(none found)")"
}

# has_test FILE... SUITE.NAME: whether one of the files has the test.
has_test() {
    local name="${*: -1}"
    grep -qE "^TEST(_F|_P)?\\(${name%%.*}, ${name#*.}\\)" "${@:1:$#-1}"
}

# has_managed_test SUITE.NAME: the same for the managed tests.
has_managed_test() { grep -qsE "^ +public void ${1#*.}\(\)" tests/managed/*/"${1%%.*}.cs"; }

# Tests that the documents name, as `FILE` `SUITE.NAME` or by name alone, and that are not there. The
# backticks are those of the documents.
# shellcheck disable=SC2016
missing_tests() {
    local file name sources
    mapfile -t sources < <(tracked 'tests/*.cpp')
    grep -ohE '`tests/[^`]+` `[^`]+`' docs/*.md | tr -d '`' | while read -r file name; do
        has_test "$file" "$name" || say "$file has no test $name"
    done 2>&1
    grep -ohE '`[A-Z][A-Za-z0-9]*Test\.[A-Z][A-Za-z0-9]*`' docs/*.md | tr -d '`' | sort -u | while read -r name; do
        has_test "${sources[@]}" "$name" || has_managed_test "$name" || say "no file has a test $name"
    done
}

# Claims about security, a bold beginning each, that no test is named for before the next one.
claims_without_test() {
    awk '
        function finish() { if (claim != "") print "docs/security.md:" line ": " claim; claim = "" }
        /^#/ { finish() }
        /^\*\*/ { finish(); claim = $0; line = NR; claims++ }
        /^- `tests\// { claim = "" }
        END { finish(); if (claims == 0) print "(no claim found)" }' docs/security.md
}

rule_named_tests() {
    report "the tests that the documents name exist" "$(missing_tests)"
    report "each claim about security names its tests" "$(claims_without_test)"
}

run_lint() {
    take_no_arguments lint "$@"
    plan "build linux-x64's compile commands" "check formatting, static analysis and the rules of the house"
    need "${LINUX_BUILD[@]}" git clang_format clang_tidy shellcheck fuzzer mingw_x86 mingw_x64 googletest_sources \
        abigail || exit 1
    configure_preset linux-x64 && configure_preset windows-x86 && configure_preset windows-x64 || exit 1
    build_preset linux-x64 lumutilsWinCli_shared || exit 1
    lint_format
    rule_platform_room
    rule_standard_language
    rule_one_way_to_log
    rule_whole_pipes
    rule_comments
    rule_readme_example
    rule_named_tests
    lint_shell
    lint_abi
    lint_clang linux-x64 ""
    lint_clang windows-x86 "$(mingw_headers i686-w64-mingw32)"
    lint_clang windows-x64 "$(mingw_headers x86_64-w64-mingw32)"
    say "  clang-tidy runs ..."
    lint_tidy
    if ((LINT_FAILED != 0)); then
        say "lint failed"
        return 1
    fi
    say "lint passed"
}
