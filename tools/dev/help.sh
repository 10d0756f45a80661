# shellcheck shell=bash
# What ./dev says of itself.

COMMANDS=(run test bench soak fuzz sanitize coverage package exports docs lint help)

# What each command takes and does: its usage in the first line, several of them under one name.
help_text() {
    cat <<'TEXT'
./dev run [--socks HOST:PORT [--user NAME:PASSWORD]] [--output FOLDER] [--failing URL] [URL...]
                                  build the example desktop host and fetch the URLs with it, directly and through the
                                  proxy; without URLs or proxy it starts its own; --failing names a URL that is expected
                                  to fail, --output where the answers go (build/desktop-host)
./dev run fetch [URL...]          build the native example and fetch the URLs with it; without URLs it serves its own
./dev test [SUITE...]             build and test; without names every suite: command, linux, managed, windows-x86,
                                  windows-x64, fuzz
./dev bench [NAME...]             build and run the benchmarks; results go to build/bench
./dev soak [--sanitize {address,thread} | --windows {x86,x64}] [NAME] [SECONDS [SEED]]
                                  run a soak, networking or storage, for that long (60 s), or all, with a sanitizer or
                                  under Wine if asked for; what networking asks for, and what the server does to each
                                  request, follows from the seed, which is printed; when it does so, and to whom its
                                  ports are hostile, is up to the machine too; the picture goes to build/soak
./dev fuzz SECONDS [TARGET]       feed each target hostile input for that long; what breaks it stays in build/fuzz/findings
./dev sanitize {address,thread}   the linux suite with a sanitizer
./dev coverage                    the linux suite, counting which lines and branches of src run; writes build/coverage
./dev package                     make the NuGet package in build/package, and use it in a project of its own
./dev exports                     write the lists of what the Windows module shows, and the form of what the Linux library
                                  offers to programs
./dev docs                        write the reference of the public headers into build/docs
./dev lint                        formatting, static analysis and the rules of the house
./dev help [COMMAND]              this text, or the part of one command, as ./dev COMMAND --help does
TEXT
}

help_closing() {
    cat <<'TEXT'

Each installs what it needs on Debian 12 (as root or through sudo) and names what is missing elsewhere. With CI=true a
suite that cannot run and a test that skips itself count as failures. Everything that is made goes to build/.
TEXT
}

is_command_of_dev() { [[ " ${COMMANDS[*]} " == *" $1 "* ]]; }

refuse_command() { usage_error "there is no command '$1'; there are: ${COMMANDS[*]}"; }

# help [COMMAND]
help() {
    (($# <= 1)) || usage_error "help on which command? It takes one name"
    if (($# == 0)); then
        help_text
        help_closing
        return
    fi
    is_command_of_dev "$1" || refuse_command "$1"
    help_text | awk -v command="$1" '/^\.\/dev / { on = $2 == command } on'
}

# wants_help ARGUMENT...
wants_help() {
    local word
    for word in "$@"; do [[ "$word" != -h && "$word" != --help ]] || return 0; done
    return 1
}

# take_no_arguments COMMAND ARGUMENT...
take_no_arguments() { (($# == 1)) || usage_error "'$1' takes no argument, and got '$2'; see ./dev $1 --help"; }
