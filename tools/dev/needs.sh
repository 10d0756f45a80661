# shellcheck shell=bash
# What the commands need. Each need has a name, a text for people, the Debian packages that fill it, and a function
# has_NAME that tells quickly whether it is there: a run that lacks nothing never calls apt-get.

declare -A NEED_TEXT=() NEED_PACKAGES=()

define_need() {
    NEED_TEXT[$1]="$2"
    NEED_PACKAGES[$1]="$3"
}

has_command() { command -v "$1" >/dev/null; }

has_one_of() {
    local path
    for path in "$@"; do [[ -e "$path" ]] && return 0; done
    return 1
}

# The system's folders only: a local copy elsewhere is found by the compiler, so the compiler is asked.
has_header() { has_compiler && c++ -E -x c++ - >/dev/null 2>&1 <<<"#include <$1>"; }

define_need compiler "a C++17 compiler named c++" "g++"
has_compiler() { has_command c++; }

define_need cmake "CMake 3.25 or newer" "cmake"
has_cmake() {
    has_command cmake || return 1
    local version
    version="$(cmake --version | sed -n '1s/[^0-9]*\([0-9]*\)\.\([0-9]*\).*/\1 \2/p')"
    local major="${version% *}" minor="${version#* }"
    ((major > 3 || (major == 3 && minor >= 25)))
}

define_need ninja "Ninja" "ninja-build"
has_ninja() { has_command ninja; }

define_need googletest "GoogleTest with its mocks" "libgtest-dev libgmock-dev"
has_googletest() { has_header gmock/gmock.h && has_header gtest/gtest.h; }

# Of no distribution there is a package for the compilers for Windows.
define_need googletest_sources "GoogleTest's sources in /usr/src/googletest" "googletest"
has_googletest_sources() { has_one_of /usr/src/googletest/CMakeLists.txt; }

define_need libcurl "libcurl's headers, 7.87 or newer" "libcurl4-openssl-dev"
has_libcurl() { has_header curl/curl.h; }

# In a folder of its own, because the compilers for Windows must not see the other headers of the system.
define_need json "nlohmann json 3.11.3 or newer, headers only (nlohmann-json3-dev, json-devel or nlohmann-json)" ""
has_json() { is_wanted_json "$BUILD/deps/usr"; }

# is_wanted_json PREFIX: at least 3.11.3, with the file by which CMake finds it.
is_wanted_json() {
    has_one_of "$1"/share/cmake/nlohmann_json/nlohmann_jsonConfig.cmake &&
        [[ -r "$1/include/nlohmann/detail/abi_macros.hpp" ]] && awk '
        /#define NLOHMANN_JSON_VERSION_(MAJOR|MINOR|PATCH)/ { version[substr($2, 23)] = $3 }
        END { exit !(version["MAJOR"] == 3 && (version["MINOR"] * 1000 + version["PATCH"]) >= 11003) }' \
        "$1/include/nlohmann/detail/abi_macros.hpp"
}

# get_json: a copy of the system's, or on Debian 12 the package of the next release.
get_json() {
    local prefix
    for prefix in /usr /usr/local; do
        is_wanted_json "$prefix" || continue
        mkdir -p "$BUILD/deps/usr/include" "$BUILD/deps/usr/share/cmake"
        cp -rL "$prefix/include/nlohmann" "$BUILD/deps/usr/include/"
        cp -rL "$prefix/share/cmake/nlohmann_json" "$BUILD/deps/usr/share/cmake/"
        return
    done
    is_debian_12 && unpack_json
}

define_need libcrypto "OpenSSL's headers, for comparison" "libssl-dev"
has_libcrypto() { has_header openssl/evp.h; }

define_need icu "ICU's headers, for comparison" "libicu-dev"
has_icu() { has_header unicode/ustring.h; }

define_need nginx "the web server nginx" "nginx-light"
has_nginx() { has_command nginx; }

define_need openssl "the openssl command" "openssl"
has_openssl() { has_command openssl; }

define_need certificates "the system's certificate store" "ca-certificates"
has_certificates() { has_one_of /etc/ssl/certs/ca-certificates.crt /etc/pki/tls/certs/ca-bundle.crt /etc/ssl/cert.pem; }

# The tests attach it to a program that waits for a debugger.
define_need gdb "the debugger gdb" "gdb"
has_gdb() { has_command gdb; }

define_need mingw_x86 "mingw-w64 for 32-bit Windows, posix threads" "g++-mingw-w64-i686-posix"
has_mingw_x86() { has_command i686-w64-mingw32-g++-posix; }

define_need mingw_x64 "mingw-w64 for 64-bit Windows, posix threads" "g++-mingw-w64-x86-64-posix"
has_mingw_x64() { has_command x86_64-w64-mingw32-g++-posix; }

define_need wine "Wine" "wine wine64"
has_wine() {
    has_command wine && has_command wineboot && has_command wineserver && has_one_of \
        /usr/lib/x86_64-linux-gnu/wine/x86_64-unix /usr/lib/wine/x86_64-unix /usr/lib64/wine/x86_64-unix \
        /opt/wine-*/lib64/wine/x86_64-unix
}

define_need wine32 "Wine for 32-bit programs" "wine32:i386"
has_wine32() {
    has_one_of /usr/lib/i386-linux-gnu/wine/i386-unix /usr/lib32/wine/i386-unix /usr/lib/wine/i386-unix \
        /opt/wine-*/lib/wine/i386-unix
}

# Wine loads the TLS library when the first https request comes; without it such a request fails.
define_need wine_tls "GnuTLS for Wine" "libgnutls30"
has_wine_tls() { has_one_of /usr/lib/x86_64-linux-gnu/libgnutls.so.30 /usr/lib64/libgnutls.so.30 /usr/lib/libgnutls.so.30; }

define_need wine32_tls "32-bit GnuTLS for Wine" "libgnutls30:i386"
has_wine32_tls() { has_one_of /usr/lib/i386-linux-gnu/libgnutls.so.30 /usr/lib32/libgnutls.so.30 /usr/lib/libgnutls.so.30; }

# Other versions of the two lay out and judge the same text differently.
define_need clang_format "clang-format 14" "clang-format"
has_clang_format() { clang_tool clang-format >/dev/null; }

define_need clang_tidy "clang-tidy 14" "clang-tidy"
has_clang_tidy() { clang_tool clang-tidy >/dev/null; }

define_need fuzzer "clang 14 with its fuzzer" "clang-14 libclang-rt-14-dev"
has_fuzzer() { has_command clang++-14 && [[ -e "$(clang++-14 -print-file-name=libclang_rt.fuzzer-x86_64.a)" ]]; }

define_need shellcheck "shellcheck" "shellcheck"
has_shellcheck() { has_command shellcheck; }

define_need gcovr "gcovr, which shows what the tests run" "gcovr"
has_gcovr() { has_command gcovr; }

define_need xvfb "the X server Xvfb" "xvfb"
has_xvfb() { has_command Xvfb; }

define_need doxygen "Doxygen" "doxygen"
has_doxygen() { has_command doxygen; }

define_need git "git" "git"
has_git() { has_command git; }

define_need cpprest "the headers of cpprestsdk, for comparison" "libcpprest-dev"
has_cpprest() { has_header cpprest/http_client.h; }

define_need boost "Boost's headers, for comparison" "libboost-dev"
has_boost() { has_header boost/beast/core/detail/base64.hpp; }

define_need glib "GLib's headers, for comparison" "libglib2.0-dev pkg-config"
has_glib() { has_command pkg-config && pkg-config --exists glib-2.0; }

define_need libuuid "libuuid's headers, for comparison" "uuid-dev pkg-config"
has_libuuid() { has_command pkg-config && pkg-config --exists uuid; }

define_need uriparser "uriparser's headers, for comparison" "liburiparser-dev pkg-config"
has_uriparser() { has_command pkg-config && pkg-config --exists liburiparser; }

define_need dotnet "the .NET SDK, 10 or newer, as the command dotnet" ""
has_dotnet() { has_command dotnet && grep -qE '^[1-9][0-9]+\.' <<<"$(dotnet --list-sdks 2>/dev/null)"; }

# The compiler's view of the framework that the assembly is for; the SDK fetches it as a package.
define_need netstandard "the package NETStandard.Library 2.0.3 (dotnet restore fetches it)" ""
has_netstandard() { has_one_of "${NUGET_PACKAGES:-${HOME:-}/.nuget/packages}/netstandard.library/2.0.3"; }

define_need mono "Mono with its netstandard facade" "mono-devel"
has_mono() { has_command mono && has_one_of /usr/lib/mono/4.5/Facades/netstandard.dll; }

define_need npm "npm, which fetches the 32-bit .NET for Windows" "npm"
has_npm() { has_command npm; }

define_need dotnet_x86 ".NET 2.1 for 32-bit Windows in build/dotnet-win-x86 (npm fetches it)" ""
has_dotnet_x86() { [[ "$(cat "$DOTNET_X86.integrity" 2>/dev/null)" == "$DOTNET_X86_INTEGRITY" ]]; }

define_need pkg_config "the command pkg-config" "pkg-config"
has_pkg_config() { has_command pkg-config; }

define_need unzip "the command unzip" "unzip"
has_unzip() { has_command unzip; }

define_need dpkg_deb "the command dpkg-deb" "dpkg"
has_dpkg_deb() { has_command dpkg-deb; }

define_need abigail "the commands abidw and abidiff" "abigail-tools"
has_abigail() { has_command abidw && has_command abidiff; }

define_need microsocks "the SOCKS5 proxy microsocks" "microsocks"
has_microsocks() { has_command microsocks; }

define_need dante "the SOCKS5 proxy dante" "dante-server"
has_dante() { has_command danted; }

LINUX_BUILD=(compiler cmake ninja googletest libcurl json)
TEST_SERVERS=(nginx openssl certificates)
MANAGED_BUILD=(dotnet netstandard)
TEST_PEERS=(libcrypto icu)
FUZZ_BUILD=("${LINUX_BUILD[@]}" "${TEST_PEERS[@]}" fuzzer)
WINDOWS_BENCH=(mingw_x86 mingw_x64 googletest_sources wine wine32)
BENCH_PEERS=(cpprest libcrypto icu boost glib libuuid uriparser)

# clang_tool NAME: the command of the version that the project is checked with.
clang_tool() {
    local candidate
    for candidate in "$1-14" "$1"; do
        if has_command "$candidate" && grep -q 'version 14\.' <<<"$("$candidate" --version)"; then
            say "$candidate"
            return 0
        fi
    done
    return 1
}

# missing_of NEED...: the names of those that are not there, each once, a line each.
missing_of() {
    local name
    local -A seen=()
    for name in "$@"; do
        [[ -n "${seen[$name]:-}" ]] && continue
        seen[$name]=1
        "has_$name" || say "$name"
    done
}

# The needs' texts in one line.
describe_needs() {
    local name text=""
    for name in "$@"; do text+="${text:+; }${NEED_TEXT[$name]}"; done
    say "$text"
}

explain_missing() {
    local name packages
    complain "this machine lacks:"
    for name in "$@"; do
        packages="${NEED_PACKAGES[$name]}"
        complain "  ${NEED_TEXT[$name]}${packages:+ (Debian: apt-get install $packages)}"
    done
    if can_install; then
        complain "apt-get could not install them: is the network up, and do the system's package sources answer?"
    elif is_debian_12; then
        complain "install them, or run this as root or with sudo at hand"
    else
        complain "only Debian 12 is prepared by this command: install them with your system's tools"
    fi
}

# fill_needs NEED...: installs what is missing and can be. What is missing afterwards is for the caller to look at.
fill_needs() {
    local missing name words packages=()
    mapfile -t missing < <(missing_of "$@")
    for name in "${missing[@]}"; do
        read -r -a words <<<"${NEED_PACKAGES[$name]}"
        packages+=("${words[@]}")
    done
    if ((${#packages[@]} > 0)) && can_install; then
        say "Installing ${packages[*]}"
        install_and_log "${packages[@]}" || true
    fi
    if [[ " ${missing[*]} " == *" json "* ]]; then
        say "Fetching nlohmann json into build/deps"
        run_logged "$LOGS/json.log" get_json || true
    fi
    if [[ " ${missing[*]} " == *" netstandard "* ]] && has_dotnet; then
        say "Fetching NETStandard.Library"
        run_logged "$LOGS/netstandard.log" run_dotnet restore src/Windows/Cli/LumUtilsWinCli.csproj || true
    fi
    if [[ " ${missing[*]} " == *" dotnet_x86 "* ]] && has_npm; then
        say "Fetching .NET for 32-bit Windows into build/dotnet-win-x86"
        run_logged "$LOGS/dotnet-win-x86.log" unpack_dotnet_x86 || true
    fi
}

# need NEED...: fills them; names what is missing and fails if something still is.
need() {
    local missing
    fill_needs "$@"
    mapfile -t missing < <(missing_of "$@")
    ((${#missing[@]} == 0)) && return 0
    explain_missing "${missing[@]}"
    return 1
}
