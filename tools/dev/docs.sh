# shellcheck shell=bash
# The reference of the public headers and of the errors.

# The headers that an installation has, which CMake lists in one place.
public_headers() { sed -n 's/^ *\(\(common\|Windows\)\/[^ ]*\.h\)$/src\/\1/p' cmake/LumInstall.cmake; }

# The types of the managed boundary that hosts see.
managed_types() { grep -lE '^ *public .*(class|interface|struct|enum) ' src/Windows/Cli/*/*.cs; }

write_docs() {
    local sources
    mapfile -t sources < <(public_headers && managed_types)
    ((${#sources[@]} > 20)) || return 1
    rm -rf "$BUILD/docs"
    mkdir -p "$BUILD/docs"
    { cat docs/Doxyfile && say "INPUT = ${sources[*]} docs/reference" &&
        say "USE_MDFILE_AS_MAINPAGE = docs/reference/index.md"; } | doxygen -
}

# codes_without_page: the codes that a header of errors has and the page of its domain has not.
codes_without_page() {
    local row header page name code
    for row in "networking/LumNetworkingError.h errors-networking.md" "storage/LumStorageError.h errors-storage.md"; do
        read -r header page <<<"$row"
        while read -r name code; do
            grep -qE "^\| $code \| \`$name\` \|" "docs/reference/$page" || say "$page lacks $name, $code"
        done < <(sed -nE 's/^ *constexpr int (k[A-Za-z]+) = (-?[0-9]+);$/\1 \2/p' "src/common/$header")
    done
}

# check_docs SUITE: the reference is written without a warning, and tells of every code.
check_docs() {
    local suite="$1" log="$LOGS/$1/docs.log" lacks outcome=failed
    say "    docs"
    run_logged "$log" write_docs && outcome=passed
    add_outcomes "$suite/docs" <<<"$outcome DocsTest.TheReferenceIsWrittenWithoutAWarning"
    lacks="$(codes_without_page)" outcome=failed
    [[ -z "$lacks" ]] && outcome=passed
    [[ -z "$lacks" ]] || say "$lacks"
    add_outcomes "$suite/docs" <<<"$outcome DocsTest.EveryCodeHasItsRow"
}

run_docs() {
    take_no_arguments docs "$@"
    plan "write the reference of the public headers into build/docs/html"
    need doxygen || exit 1
    run_logged "$LOGS/docs.log" write_docs || exit 1
    say "  build/docs/html/index.html"
}
