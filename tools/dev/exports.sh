# shellcheck shell=bash
# The lists of what the Windows module shows: written anew from what the library's sources define.

# Names of the compiler's runtime that programs take from the module, so that exceptions pass through it.
EXCEPTION_STATE=(__cxa_allocate_dependent_exception __cxa_allocate_exception __cxa_free_dependent_exception
    __cxa_free_exception __cxa_get_globals __cxa_get_globals_fast)

# 32-bit programs find their handlers in tables that the compiler's runtime keeps; 64-bit ones ask Windows.
unwinder_names() {
    local library
    library="$("$1g++-posix" -print-file-name=libgcc_eh.a)"
    "$1nm" "$library" 2>/dev/null | awk '$2 == "T" && $3 ~ /^_(_Unwind_|__(de)?register_frame_info$)/ { print substr($3, 2) }'
}

# library_names PRESET TOOLS UNDERSCORE: a line "name" or "name DATA" for each function and object of the library's own
# namespaces that one source defines. What headers define is in every program that includes them, save for the tables
# of classes.
library_names() {
    local folder="$BUILD/$1/src/CMakeFiles/lum_core.dir" source objects=()
    # An older build may have left objects of sources that are no more.
    while read -r source; do
        [[ -e "src/$source" ]] && objects+=("$folder/$source.obj")
    done < <(find "$folder" -name '*.obj' -printf '%P\n' | sed 's/\.obj$//')
    "$2nm" --format=sysv --extern-only --defined-only "${objects[@]}" | tr -d ' ' | awk -F'|' -v underscore="$3" '
        NF < 7 || $3 !~ /^[TDBR]$/ { next }
        {
            name = $1
            if (underscore != "") sub("^" underscore, "", name)
            isTable = name ~ /^_ZT[VI]N(8LumUtils|13LumNetworking|10LumStorage|11LumUtilsCli|16LumNetworkingCli)/
            isOwn = name ~ /^(LumCli|_ZNK?(8LumUtils|13LumNetworking|10LumStorage|11LumUtilsCli|16LumNetworkingCli))/
        }
        isTable { print name, "DATA" }
        isOwn && $7 !~ /\$/ { print name ($3 == "T" ? "" : " DATA") }' | sort -u
}

# exports_of PRESET: the list.
exports_of() {
    local tools=x86_64-w64-mingw32- underscore=""
    [[ "$1" == windows-x64 ]] || { tools=i686-w64-mingw32- underscore=_; }
    say "; What the module shows; \`./dev exports\` writes this list. The boundary to .NET and the library's own classes:"
    say "EXPORTS"
    library_names "$1" "$tools" "$underscore" | sed 's/^/  /'
    say "; The part of the compiler's runtime that handles exceptions, for programs that link the module:"
    printf '  %s\n' "${EXCEPTION_STATE[@]}"
    [[ -z "$underscore" ]] || unwinder_names "$tools" | sed 's/^/  /'
}

write_exports() {
    exports_of "$1" >"src/exports/$1.def"
    say "  src/exports/$1.def: $(grep -c '^  ' "src/exports/$1.def") names"
}

# check_exports PRESET, which is also its suite: whether the list is the one that would be written now.
check_exports() {
    local suite="$1" log="$LOGS/$1/exports.log" outcome=failed
    exports_of "$suite" | diff -u "src/exports/$suite.def" - >"$log" 2>&1 && outcome=passed
    [[ "$outcome" == passed ]] || show_tail "$log"
    add_outcomes "$suite/exports" <<<"$outcome ExportsTest.TheListIsTheOneThatTheSourcesGive"
    say "    exports $outcome"
}

run_exports() {
    take_no_arguments exports "$@"
    plan "compile the library for windows-x86, windows-x64 and linux-x64" "write src/exports and $ABI_BASELINE"
    need "${LINUX_BUILD[@]}" mingw_x86 mingw_x64 googletest_sources abigail || exit 1
    build_preset windows-x86 lum_core && build_preset windows-x64 lum_core || exit 1
    write_exports windows-x86
    write_exports windows-x64
    build_preset linux-x64 lumutilsWinCli_shared && write_abi "$ABI_BASELINE" || exit 1
    say "  $ABI_BASELINE"
}
