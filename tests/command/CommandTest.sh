# shellcheck shell=bash
# What ./dev says and refuses. Each test runs it in a folder of its own, in which the tools that it would call only write
# down that they were called.

# make_stage FOLDER: the command and what it looks at, beside tools that do nothing.
make_stage() {
    local stage="$1" tool
    rm -rf "$stage"
    mkdir -p "$stage/bin"
    for tool in dev tools tests benchmarks src examples docs; do ln -s "$ROOT/$tool" "$stage/$tool"; done
    for tool in apt-get cmake dotnet dpkg ninja sudo wine; do
        printf '#!/bin/sh\necho "%s $*" >>"%s/calls"\nexit 1\n' "$tool" "$stage" >"$stage/bin/$tool"
    done
    # shellcheck disable=SC2016
    printf '#!/bin/sh\ncase "$1" in -u|-g) echo "${STAGE_USER:-0}" ;; *) echo user ;; esac\n' >"$stage/bin/id"
    printf 'ID=debian\nVERSION_ID=12\n' >"$stage/debian-12"
    printf 'ID=other\nVERSION_ID=1\n' >"$stage/other"
    touch "$stage/policy"
    chmod +x "$stage"/bin/*
}

# on_stage COMMAND...: its output and its exit code are kept.
on_stage() {
    STAGE_CODE=0
    # shellcheck disable=SC2153
    STAGE_OUTPUT="$(cd "$STAGE" && env PATH="$STAGE/bin:$PATH" OS_RELEASE="$STAGE/${STAGE_SYSTEM:-other}" \
        POLICY_RC_D="$STAGE/policy" "$@" 2>&1 </dev/null)" || STAGE_CODE=$?
}

says() { [[ "$STAGE_OUTPUT" == *"$1"* ]]; }

did_nothing() { [[ ! -e "$STAGE/calls" && ! -e "$STAGE/build" ]]; }

refuses() {
    on_stage ./dev "$@"
    ((STAGE_CODE == 2)) && did_nothing && return 0
    say "./dev $*: code $STAGE_CODE, $STAGE_OUTPUT"
    return 1
}

test_EveryCommandExplainsItselfAndDoesNothingElse() {
    local command flag
    for command in "${COMMANDS[@]}"; do
        for flag in --help -h; do
            on_stage ./dev "$command" "$flag"
            ((STAGE_CODE == 0)) && [[ "$STAGE_OUTPUT" == "./dev $command"* ]] && did_nothing && continue
            say "./dev $command $flag: code $STAGE_CODE, $STAGE_OUTPUT"
            return 1
        done
        on_stage ./dev help "$command"
        [[ "$STAGE_OUTPUT" == "./dev $command"* ]] || return 1
    done
    on_stage ./dev run fetch --help
    says "./dev run fetch" && did_nothing
}

test_TheWholeHelpNamesEveryCommand() {
    local command
    on_stage ./dev
    for command in "${COMMANDS[@]}"; do says "./dev $command" || return 1; done
}

test_ArgumentsThatAreWrongAreRefusedBeforeAnythingIsDone() {
    refuses there-is-no-such-command &&
        refuses run --bogus && refuses run --socks && refuses run --socks nowhere http://a/ &&
        refuses run --user a:b http://a/ && refuses run --socks a:1 && refuses run ftp://a/ && refuses run http:/// &&
        refuses run fetch --bogus && refuses run fetch a &&
        refuses test bogus && refuses test --bogus && refuses test linux bogus &&
        refuses bench bogus && refuses bench --bogus &&
        refuses soak bogus && refuses soak networking 0 && refuses soak networking 5 x && refuses soak storage 5 1 1 &&
        refuses soak --sanitize bogus && refuses soak --windows x && refuses soak --bogus &&
        refuses fuzz && refuses fuzz x && refuses fuzz 5 bogus && refuses fuzz 5 url more &&
        refuses sanitize && refuses sanitize bogus && refuses sanitize thread more &&
        refuses coverage more && refuses package more && refuses exports more && refuses lint --fix &&
        refuses docs more && refuses help bogus && refuses help run more
}

test_OfflineAsRootItSaysThatAptGetFailed() {
    STAGE_SYSTEM=debian-12 on_stage ./dev lint
    ((STAGE_CODE != 0)) && says "apt-get could not install them" && ! says "run this as root" && [[ -e "$STAGE/calls" ]]
}

test_AnOrdinaryUserIsToldToBecomeRoot() {
    STAGE_SYSTEM=debian-12 STAGE_USER=1000 on_stage env STAGE_USER=1000 ./dev lint
    ((STAGE_CODE != 0)) && says "run this as root or with sudo at hand"
}

test_ElsewhereEveryMissingThingIsNamedWithItsPackage() {
    on_stage ./dev lint
    ((STAGE_CODE != 0)) && says "CMake 3.25 or newer" && says "nlohmann json 3.11.3 or newer" &&
        says "nlohmann-json3-dev" && says "only Debian 12 is prepared"
}
