# shellcheck shell=bash
# Running the examples.

# check_url TEXT: what would else be refused only after the build.
check_url() { [[ "$1" =~ ^https?://[^/?#] ]] || usage_error "'$1' is no http or https URL"; }

# check_host_arguments ARGUMENT...: the options of the desktop host.
check_host_arguments() {
    local has_proxy=0 has_user=0 urls=0
    while (($# > 0)); do
        case "$1" in
        --socks | --user | --output | --failing)
            [[ -n "${2:-}" ]] || usage_error "$1 needs a value; see ./dev run --help"
            ;;&
        --socks)
            [[ "$2" =~ ^(\[[0-9a-fA-F:.]+\]|[^]:/@[]+):[0-9]{1,5}$ ]] || usage_error "'$2' is no HOST:PORT"
            has_proxy=1
            ;;
        --user)
            [[ "$2" == ?*:* ]] || usage_error "--user takes NAME:PASSWORD"
            has_user=1
            ;;
        --failing)
            check_url "$2"
            urls=1
            ;;
        --output) ;;
        -*) usage_error "run has no option '$1'; see ./dev run --help" ;;
        *)
            check_url "$1"
            urls=1
            ;;
        esac
        if [[ "$1" == --* ]]; then shift 2; else shift; fi
    done
    ((!has_user || has_proxy)) || usage_error "--user is for the proxy that --socks names"
    ((!has_proxy || urls)) || usage_error "name the URLs to fetch through the proxy"
}

run_fetch() {
    local url
    for url in "$@"; do check_url "$url"; done
    plan "build linux-x64" "run the native example"
    need "${LINUX_BUILD[@]}" "${TEST_SERVERS[@]}" || exit 1
    build_preset linux-x64 lum_fetch || exit 1
    exec "$BUILD/linux-x64/examples/fetch/lum_fetch" "$@"
}

# Where the servers are is known only to what lum_test_server starts.
# shellcheck disable=SC2016
OWN_PROXY='exec "$@" --socks "127.0.0.1:$LUM_TEST_SOCKS_PORT"'
# shellcheck disable=SC2016
OWN_SITE='
site="http://127.0.0.1:$LUM_TEST_NGINX_PORT"
mapfile -t files < <(cd "$LUM_TEST_NGINX_ROOT/licenses" && find . -type f -name "[A-Z]*" | sort | cut -c3- | head -n 8)
exec "$@" --socks "127.0.0.1:$LUM_TEST_SOCKS_PORT" "${files[@]/#/$site/licenses/}" \
    "http://localhost:$LUM_TEST_HTTP_PORT/stall?key=run&seconds=2" --failing "http://127.0.0.1:$LUM_TEST_CLOSED_PORT/nobody"'
# shellcheck disable=SC2016
NO_PROXY='exec "$@" --socks "127.0.0.1:$LUM_TEST_CLOSED_PORT" --failing "http://127.0.0.1:$LUM_TEST_NGINX_PORT/one.bin"'

run_desktop_host() {
    check_host_arguments "$@"
    local native="$BUILD/linux-x64" has_proxy=0 word command
    for word in "$@"; do [[ "$word" == --socks ]] && has_proxy=1; done
    plan "build linux-x64 and the managed projects" "run the desktop host"
    need "${LINUX_BUILD[@]}" "${TEST_SERVERS[@]}" "${MANAGED_BUILD[@]}" microsocks dante || exit 1
    build_preset linux-x64 lumutilsWinCli_shared lum_desktop_module lum_test_server || exit 1
    build_managed examples/desktop-host/DesktopHost.csproj || exit 1
    export LD_LIBRARY_PATH="$native/src:$native/examples/desktop-host/native"
    command=(dotnet exec "$MANAGED/DesktopHost/release/DesktopHost.dll" --output "$BUILD/desktop-host")
    if ((has_proxy)); then
        exec "${command[@]}" "$@"
    elif (($# > 0)); then
        exec "$TEST_SERVER" --proxies -- bash -c "$OWN_PROXY" own-proxy "${command[@]}" "$@"
    fi
    exec "$TEST_SERVER" --proxies -- bash -c "$OWN_SITE" own-site "${command[@]}"
}

run_example() {
    if [[ "${1:-}" == fetch ]]; then
        shift
        run_fetch "$@"
    fi
    run_desktop_host "$@"
}
