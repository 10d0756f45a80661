# shellcheck shell=bash
# Running the examples.

run_fetch() {
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
    local native="$BUILD/linux-x64" has_proxy=0 word command
    for word in "$@"; do [[ "$word" == --socks ]] && has_proxy=1; done
    plan "build linux-x64 and the managed projects" "run the desktop host"
    need "${LINUX_BUILD[@]}" "${TEST_SERVERS[@]}" "${MANAGED_BUILD[@]}" microsocks dante || exit 1
    build_preset linux-x64 lumutilsWinCli_shared lum_desktop_module lum_test_server || exit 1
    build_managed examples/desktop-host/DesktopHost.csproj || exit 1
    export LD_LIBRARY_PATH="$native/src:$native/examples/desktop-host/native"
    command=(dotnet exec "$MANAGED/DesktopHost/release/DesktopHost.dll" --output "$BUILD/desktop-host")
    if ((has_proxy)) || [[ "${1:-}" == --help ]]; then
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
