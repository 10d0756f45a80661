# shellcheck shell=bash
# Installing with apt-get on Debian 12. Sources files are derived from the system's own, below build/, so that the
# system's configuration and package lists stay as they are.

APT_DIR="$BUILD/apt"

is_debian_12() {
    local release="${OS_RELEASE:-/etc/os-release}"
    [[ -r "$release" ]] && command -v apt-get >/dev/null &&
        (
            # shellcheck source=/dev/null
            source "$release" && [[ "${ID:-}" == debian && "${VERSION_ID:-}" == 12 ]]
        )
}

is_root() { [[ "$(id -u)" == 0 ]]; }

has_sudo() {
    command -v sudo >/dev/null || return 1
    # Without a terminal nobody can type a password.
    [[ -t 0 ]] || sudo -n true 2>/dev/null
}

can_install() { is_debian_12 && { is_root || has_sudo; }; }

as_root() {
    if is_root; then env "$@"; else sudo env "$@"; fi
}

# filter_deb822 KEEP [RENAMED] <FILE: the stanzas of the suites in KEEP, without their other suites.
filter_deb822() {
    awk -v keep="$1" -v renamed="${2:-}" '
        BEGIN { RS = ""; FS = "\n"; count = split(keep, names, " "); for (i in names) wanted[names[i]] = 1 }
        {
            suites = ""; text = ""; main = 0
            for (line = 1; line <= NF; line++) {
                key = tolower($line)
                if (key ~ /^suites:/) {
                    count = split($line, words, " ")
                    for (i = 2; i <= count; i++) if (words[i] in wanted) suites = suites " " words[i]
                    text = text "Suites:" (renamed != "" ? " " renamed : suites) "\n"
                } else {
                    if (key ~ /^components:/ && key ~ / main( |$)/) main = 1
                    if (key !~ /^#/) text = text $line "\n"
                }
            }
            if (suites != "" && main) print text
        }'
}

# filter_one_line KEEP [RENAMED] <FILE: the same for the format with one source a line.
filter_one_line() {
    awk -v keep="$1" -v renamed="${2:-}" '
        BEGIN { split(keep, names, " "); for (i in names) wanted[names[i]] = 1 }
        $1 == "deb" {
            at = 2
            if ($at ~ /^\[/) { while (at < NF && $at !~ /\]$/) at++; at++ }
            at++
            if (!($at in wanted)) next
            main = 0
            for (i = at + 1; i <= NF; i++) if ($i == "main") main = 1
            if (!main) next
            if (renamed != "") $at = renamed
            print
        }'
}

# derive_sources FOLDER KEEP [RENAMED]: fails if the system has no source of such a suite.
derive_sources() {
    local folder="$1" keep="$2" renamed="${3:-}" etc="${APT_ETC:-/etc/apt}" file
    rm -rf "$folder"
    mkdir -p "$folder"
    for file in "$etc"/sources.list.d/*.sources; do
        [[ -r "$file" ]] && filter_deb822 "$keep" "$renamed" <"$file" >"$folder/${file##*/}"
    done
    for file in "$etc"/sources.list "$etc"/sources.list.d/*.list; do
        [[ -r "$file" ]] && filter_one_line "$keep" "$renamed" <"$file" >"$folder/$(basename "${file%.list}").list"
    done
    find "$folder" -type f -empty -delete
    [[ -n "$(ls -A "$folder")" ]]
}

# private_lists NAME: the options that make apt-get use build/apt/NAME in place of the system's sources and lists.
private_lists() {
    local base="$APT_DIR/$1"
    mkdir -p "$base/lists/partial" "$base/cache/archives/partial"
    printf '%s\n' -o Dir::Etc::SourceList=/dev/null -o "Dir::Etc::SourceParts=$base/sources" \
        -o "Dir::State::Lists=$base/lists" -o "Dir::Cache=$base/cache"
}

apt_install() {
    as_root DEBIAN_FRONTEND=noninteractive apt-get -q "$@"
}

# Packages that bring a server must not start it.
POLICY="${POLICY_RC_D:-/usr/sbin/policy-rc.d}"
forbid_services() {
    [[ -e "$POLICY" ]] && return 0
    printf '#!/bin/sh\nexit 101\n' | as_root tee "$POLICY" >/dev/null
    as_root chmod 755 "$POLICY"
    trap allow_services EXIT
}

allow_services() {
    as_root rm -f "$POLICY"
    trap - EXIT
}

install_from_release() {
    local options
    derive_sources "$APT_DIR/release/sources" "bookworm bookworm-updates" || return 1
    mapfile -t options < <(private_lists release)
    apt_install "${options[@]}" update && apt_install "${options[@]}" install -y --no-install-recommends "$@"
}

# A system whose packages are newer than its release and updates suites needs its other sources too. One list that
# cannot be read is no reason to stop: what is missing shows when the packages are installed.
install_from_all_sources() {
    apt_install update || true
    apt_install install -y --no-install-recommends "$@"
}

install_and_log() {
    local log="$LOGS/install.log" done=1
    mkdir -p "$LOGS"
    if [[ "$*" == *:i386* ]]; then
        as_root dpkg --add-architecture i386
    fi
    forbid_services
    { install_from_release "$@" || install_from_all_sources "$@"; } >"$log" 2>&1 </dev/null || done=0
    allow_services
    # With sudo the lists belong to root; the build folder must stay its owner's.
    is_root || as_root chown -R "$(id -u):$(id -g)" "$APT_DIR"
    [[ "$done" == 1 ]] && return 0
    complain "apt-get could not install: $*"
    show_tail "$log"
    return 1
}

# The next release has the json library that this one lacks: headers only, the same for every architecture.
unpack_json() {
    local base="$APT_DIR/next" options
    derive_sources "$base/sources" bookworm trixie || return 1
    mapfile -t options < <(private_lists next)
    options+=(-o "APT::Architectures=$(dpkg --print-architecture)" -o "APT::Sandbox::User=$(id -un)")
    apt-get -q "${options[@]}" update || return 1
    (cd "$base" && rm -f ./*.deb && apt-get -q "${options[@]}" download nlohmann-json3-dev) || return 1
    rm -rf "$BUILD/deps.new"
    dpkg-deb -x "$base"/nlohmann-json3-dev_*.deb "$BUILD/deps.new" || return 1
    rm -rf "$BUILD/deps"
    mv "$BUILD/deps.new" "$BUILD/deps"
}
