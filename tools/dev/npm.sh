# shellcheck shell=bash
# What comes as a package of npm.

# The only 32-bit .NET for Windows that comes as a package: version 2.1, which is used for nothing but the tests.
DOTNET_X86="$BUILD/dotnet-win-x86"
DOTNET_X86_PACKAGE=dotnet-2.1-win-ia32@2.1.1007
DOTNET_X86_INTEGRITY="sha512-mPHY7eyd6ScFrzm6yE4nt0nz387e8l4D3Hgr3u5X9Fi0MOHCE6EWo/AS1PT3ZlMrh1lYK/bCx/WIgn7FoCIUmw=="

# integrity_of FILE: as npm writes it.
integrity_of() { printf 'sha512-%s' "$(openssl dgst -sha512 -binary "$1" | openssl base64 -A)"; }

# unpack_dotnet_x86: another file than the one that the tests are known to run on is refused. What a package may run when
# it is installed is not run: it is only unpacked.
unpack_dotnet_x86() {
    local base="$BUILD/npm" file
    rm -rf "$base" "$DOTNET_X86" "$DOTNET_X86.integrity"
    mkdir -p "$base"
    (cd "$base" && npm pack --silent "$DOTNET_X86_PACKAGE") || return 1
    file="$(printf '%s' "$base"/*.tgz)"
    if [[ "$(integrity_of "$file")" != "$DOTNET_X86_INTEGRITY" ]]; then
        complain "$DOTNET_X86_PACKAGE is refused: it has the integrity $(integrity_of "$file")"
        return 1
    fi
    tar -xzf "$file" -C "$base" && mv "$base/package" "$DOTNET_X86" && rm -rf "$base" || return 1
    printf '%s\n' "$DOTNET_X86_INTEGRITY" >"$DOTNET_X86.integrity"
}
