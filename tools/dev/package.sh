# shellcheck shell=bash
# Making the NuGet package, and using it as somebody else would.

PACKAGE="$BUILD/package"

# A line for each platform of the package: its name there, the preset and the library.
PACKAGE_PLATFORMS=(
    "linux-x64 linux-x64 liblumutilsWinCli.so"
    "win-x86 windows-x86 liblumutilsWinCli.dll"
    "win-x64 windows-x64 liblumutilsWinCli.dll"
)

# stage_library PLATFORM PRESET LIBRARY: the library goes into the package without what only debuggers read,
# which goes into a file beside the package.
stage_library() {
    local preset="$2"
    local built="$BUILD/$2/src/$3" staged="$PACKAGE/native/$1/native/$3" symbols="$PACKAGE/symbols/$1/$3.debug"
    build_preset "$preset" lumutilsWinCli_shared || return 1
    mkdir -p "$(dirname "$staged")" "$(dirname "$symbols")"
    if [[ -e "$built.debug" ]]; then # the build has done it
        cp "$built" "$staged" && cp "$built.debug" "$symbols"
        return
    fi
    objcopy --only-keep-debug "$built" "$symbols" &&
        objcopy --strip-unneeded "--add-gnu-debuglink=$symbols" "$built" "$staged"
}

# The one package that was made; its version is in its name.
package_file() { printf '%s\n' "$PACKAGE"/LumUtilsWinCli.*.nupkg; }

make_package() {
    local row words
    rm -rf "$PACKAGE"
    mkdir -p "$PACKAGE"
    for row in "${PACKAGE_PLATFORMS[@]}"; do
        read -r -a words <<<"$row"
        stage_library "${words[@]}" || return 1
    done
    say "Packing"
    run_logged "$LOGS/package.log" run_dotnet pack src/Windows/Cli/LumUtilsWinCli.csproj --configuration Release --nologo \
        -p:UseSharedCompilation=false "-p:LumNativeFolder=$PACKAGE/native" \
        "-p:LumRevision=$(git rev-parse HEAD 2>/dev/null || true)" --output "$PACKAGE"
}

# What the libraries must be: the same name may stand for another width.
declare -A PACKAGE_FORMATS=(
    [runtimes/linux-x64/native/liblumutilsWinCli.so]=elf64-x86-64
    [runtimes/win-x86/native/liblumutilsWinCli.dll]=pei-i386
    [runtimes/win-x64/native/liblumutilsWinCli.dll]=pei-x86-64
)

PACKAGE_FILES=(lib/{netstandard2.0,net8.0}/LumUtilsWinCli.{dll,xml} README.md icon.png THIRD-PARTY-NOTICES.txt
    {build,buildTransitive}/netstandard2.0/LumUtilsWinCli.targets)

# What the package must say of itself.
PACKAGE_FACTS=(title description authors tags releaseNotes icon readme repository)

# check_package_facts: whether each is there, and not empty.
check_package_facts() {
    local fact specification lacks=0
    specification="$(unzip -p "$(package_file)" LumUtilsWinCli.nuspec)"
    for fact in "${PACKAGE_FACTS[@]}"; do
        grep -qE "<$fact(>.+| .+/>)" <<<"$specification" && continue
        complain "the package does not say its $fact"
        lacks=1
    done
    return "$lacks"
}

# format_in_package FILE: such as pei-i386.
format_in_package() {
    local copy="$PACKAGE/library-to-look-at"
    unzip -p "$(package_file)" "$1" >"$copy" 2>/dev/null || true
    objdump -f "$copy" 2>/dev/null | sed -n 's/.*file format //p'
    rm -f "$copy"
}

# The files that a package must have, and for which machine its libraries are.
check_package_content() {
    local file content format lacks=0
    content="$(unzip -Z1 "$(package_file)")"
    for file in "${PACKAGE_FILES[@]}" "${!PACKAGE_FORMATS[@]}"; do
        grep -qxF "$file" <<<"$content" && continue
        complain "the package lacks $file"
        lacks=1
    done
    for file in "${!PACKAGE_FORMATS[@]}"; do
        format="$(format_in_package "$file")"
        [[ "$format" == "${PACKAGE_FORMATS[$file]}" ]] && continue
        complain "$file of the package is '$format' and not '${PACKAGE_FORMATS[$file]}'"
        lacks=1
    done
    content="$(unzip -Z1 "$PACKAGE"/LumUtilsWinCli.*.snupkg)"
    for file in lib/netstandard2.0/LumUtilsWinCli.pdb lib/net8.0/LumUtilsWinCli.pdb; do
        grep -qxF "$file" <<<"$content" && continue
        complain "the symbol package lacks $file"
        lacks=1
    done
    return "$lacks"
}

# use_package: a project outside this one's, with nothing but the package's folder to get packages from, is built for
# .NET and for .NET Standard and run on .NET and Mono. Its program for .NET is the README's example.
use_package() {
    local consumer="$BUILD/package-consumer" version example output
    version="$(basename "$(package_file)" .nupkg)"
    version="${version#LumUtilsWinCli.}"
    rm -rf "$consumer"
    mkdir -p "$consumer"
    example="$consumer/ReadmeExample.cs"
    awk '/^```csharp/ { on = 1; next } /^```/ { on = 0 } on' README.md >"$example"
    say "Using the package"
    run_logged "$LOGS/package-consumer.log" env "NUGET_PACKAGES=$consumer/packages" \
        DOTNET_CLI_TELEMETRY_OPTOUT=1 DOTNET_NOLOGO=1 MSBUILDDISABLENODEREUSE=1 \
        dotnet build tests/package/PackageConsumer.csproj --nologo -p:ImportDirectoryBuildProps=false \
        -p:UseSharedCompilation=false "-p:LumPackageVersion=$version" "-p:LumReadmeExample=$example" \
        "-p:BaseIntermediateOutputPath=$consumer/obj/" "-p:BaseOutputPath=$consumer/bin/" \
        "-p:RestoreFallbackFolders=${NUGET_PACKAGES:-$HOME/.nuget/packages}" || return 1
    output="$consumer/bin/Debug"
    dotnet exec "$output/net10.0/PackageConsumer.dll" && mono "$output/netstandard2.0/PackageConsumer.dll"
}

run_package() {
    take_no_arguments package "$@"
    plan "build the native library for linux-x64, windows-x86 and windows-x64" "make the NuGet package in build/package" \
        "use it in a project of its own, on .NET and on Mono"
    need "${LINUX_BUILD[@]}" "${MANAGED_BUILD[@]}" mono mingw_x86 mingw_x64 googletest_sources unzip || exit 1
    make_package || exit 1
    if ! check_package_content || ! check_package_facts || ! use_package; then
        complain "the package does not work"
        exit 1
    fi
    say "  ${PACKAGE#"$ROOT"/}:"
    find "$PACKAGE" -type f \( -name '*.nupkg' -o -name '*.snupkg' -o -name '*.debug' \) -printf '    %P\n' | sort
}
