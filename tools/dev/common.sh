# shellcheck shell=bash
# What every piece of ./dev uses: where things go, and how it speaks.

BUILD="$ROOT/build"
LOGS="$BUILD/logs"
# Servers stand where an ordinary user's PATH does not look.
PATH="$PATH:/usr/sbin:/sbin"

say() { printf '%s\n' "$*"; }

complain() { printf 'dev: %s\n' "$*" >&2; }

usage_error() {
    complain "$*"
    exit 2
}

plan() {
    say "Plan:"
    printf '  - %s\n' "$@"
}

in_ci() { [[ "${CI:-}" == true ]]; }

# The end of a log for the terminal. Addresses of package sources may hold a password: they are cut out.
show_tail() {
    tail -n "${2:-30}" "$1" | sed -E 's#://[^/@ ]*@#://#g; s/^/    /'
}

# What went wrong in a log: from the first step that failed on, where a build says which, else its end.
show_error() {
    if grep -q '^FAILED: ' "$1"; then
        awk '/^FAILED: / { on = 1 } on && ++lines <= 40 { print "    " substr($0, 1, 400) }' "$1"
    else
        show_tail "$1" 40
    fi
}

# run_logged LOG COMMAND...: the command's output goes to the log; its end is shown if it fails.
run_logged() {
    local log="$1"
    shift
    mkdir -p "$(dirname "$log")"
    if "$@" >"$log" 2>&1 </dev/null; then
        return 0
    fi
    complain "failed: $*"
    show_error "$log"
    say "  whole output: ${log#"$ROOT"/}"
    return 1
}
