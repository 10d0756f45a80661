# shellcheck shell=bash
# Building a preset.

configure_preset() { run_logged "$LOGS/configure-$1.log" cmake --preset "$1"; }

# build_preset PRESET [TARGET...]: everything if no target is named.
build_preset() {
    local preset="$1" log="$LOGS/build-$1.log" target targets=()
    shift
    for target in "$@"; do targets+=(--target "$target"); done
    say "Building $preset${1:+ ($*)}"
    configure_preset "$preset" || return 1
    # Ninja's own progress, for whoever watches.
    if [[ -t 1 ]]; then
        cmake --build --preset "$preset" -j "$(nproc)" "${targets[@]}" 2>&1 | tee "$log"
    else
        run_logged "$log" cmake --build --preset "$preset" -j "$(nproc)" "${targets[@]}"
    fi
}

# Where the managed builds go.
MANAGED="$BUILD/managed/bin"

# Without what would go on running after the command, and without its greetings.
run_dotnet() {
    DOTNET_CLI_TELEMETRY_OPTOUT=1 DOTNET_NOLOGO=1 DOTNET_CLI_USE_MSBUILD_SERVER=0 MSBUILDDISABLENODEREUSE=1 \
        dotnet "$@"
}

# build_managed PROJECT [OPTION...]
build_managed() {
    local project="$1"
    shift
    say "Building $project"
    run_logged "$LOGS/build-$(basename "$project" .csproj).log" \
        run_dotnet build "$project" --configuration Release --nologo -p:UseSharedCompilation=false "$@"
}
