# shellcheck shell=bash
# Using the library as somebody else would: installed, by CMake and by pkg-config, and as sources, in a folder of a CMake
# project and fetched as an archive; the examples, copied elsewhere; and the packages, unpacked into an empty folder. What
# is built has the compiler's own defaults: no option that the library's own build adds.

# The compiler of a preset, and what to tell CMake for one of another system.
declare -A CONSUMER_COMPILER=(
    [linux-x64]=c++
    [windows-x86]=i686-w64-mingw32-g++-posix
    [windows-x64]=x86_64-w64-mingw32-g++-posix
)
declare -A CONSUMER_TARGET=(
    [windows-x86]=i686-w64-mingw32
    [windows-x64]=x86_64-w64-mingw32
)

# consumer_cmake PRESET SOURCE FOLDER [OPTION...]: configures and builds a project of somebody else's.
consumer_cmake() {
    local preset="$1" source="$2" folder="$3" target="${CONSUMER_TARGET[$1]:-}" options=()
    shift 3
    if [[ -n "$target" ]]; then
        options=(-DCMAKE_SYSTEM_NAME=Windows "-DCMAKE_CXX_COMPILER=${CONSUMER_COMPILER[$preset]}"
            "-DCMAKE_RC_COMPILER=$target-windres")
    fi
    cmake -G Ninja -S "$source" -B "$folder" "${options[@]}" "$@" && cmake --build "$folder" -j "$(nproc)"
}

# Where the programs of a preset find the compiler's libraries.
compiler_folders() {
    local target="${CONSUMER_TARGET[$1]}"
    say "Z:$(dirname "$("${CONSUMER_COMPILER[$1]}" -print-file-name=libstdc++-6.dll)");Z:/usr/$target/lib"
}

# copy_sources FOLDER: the tree as a fresh clone has it.
copy_sources() {
    mkdir -p "$1"
    tar --exclude=./build --exclude=./.git -cf - . | tar -C "$1" -xf -
}

# build_by_cmake PRESET FOLDER
build_by_cmake() {
    consumer_cmake "$1" tests/install "$2/find_package" -DCMAKE_BUILD_TYPE=Release \
        "-DCMAKE_PREFIX_PATH=$BUILD/$1/installed"
}

# build_by_subdirectory PRESET FOLDER: without an optimiser, as what is tried is whether it builds and links.
build_by_subdirectory() {
    copy_sources "$2/clone" && consumer_cmake "$1" tests/install/subdirectory "$2/subdirectory" \
        "-DLIBRARY_FOLDER=$2/clone" "-DCMAKE_PREFIX_PATH=$BUILD/deps/usr"
}

# build_by_fetch_content PRESET FOLDER
build_by_fetch_content() {
    tar -C "$2/clone" -czf "$2/library.tar.gz" . && consumer_cmake "$1" tests/install/fetch_content "$2/fetch_content" \
        "-DLIBRARY_ARCHIVE=$2/library.tar.gz" "-DCMAKE_PREFIX_PATH=$BUILD/deps/usr"
}

# build_by_pkg_config PRESET FOLDER SUFFIX
build_by_pkg_config() {
    local preset="$1" folder="$2/pkg_config" compiler="${CONSUMER_COMPILER[$1]}" flags expected
    local -x PKG_CONFIG_PATH="$BUILD/$preset/installed/lib/pkgconfig"
    flags="$(pkg-config --cflags --libs lumutilsWinCli)" || return 1
    expected="$(pkg-config --modversion lumutilsWinCli)"
    mkdir -p "$folder"
    # shellcheck disable=SC2086
    "$compiler" -std=c++17 -O2 "-DEXPECTED_VERSION=\"$expected\"" tests/install/main.cpp \
        -o "$folder/consumer_pkg_config$3" $flags
}

# build_examples PRESET FOLDER: copied out of the tree, with the installed library.
build_examples() {
    local example name
    cp -r examples "$2/examples"
    for example in "$2"/examples/*/CMakeLists.txt "$2"/examples/*/native/CMakeLists.txt; do
        example="$(dirname "$example")" name="${example#"$2"/examples/}"
        [[ "$name" != desktop-window || "$1" == windows-* ]] || continue
        consumer_cmake "$1" "$example" "$2/example/$name" "-DCMAKE_PREFIX_PATH=$BUILD/$1/installed" || return 1
    done
}

# install_and_build PRESET SUFFIX
install_and_build() {
    local preset="$1" suffix="$2" installed="$BUILD/$1/installed" consumer="$BUILD/$1/consumers"
    rm -rf "$installed" "$consumer"
    mkdir -p "$consumer"
    cmake --install "$BUILD/$preset" --prefix "$installed" && build_by_cmake "$preset" "$consumer" &&
        build_by_pkg_config "$preset" "$consumer" "$suffix" && build_examples "$preset" "$consumer" &&
        build_by_subdirectory "$preset" "$consumer" || return 1
    # Of another compiler it would show nothing more.
    [[ "$preset" != linux-x64 ]] || build_by_fetch_content "$preset" "$consumer"
}

# run_consumer SUITE PROGRAM KIND [STARTER...]: a program of the consumer's is a test.
run_consumer() {
    local suite="$1" program="$2" kind="$3" outcome=passed code=0
    local log="$LOGS/$suite/install-$kind.log"
    shift 3
    (cd "$(dirname "$program")" && timeout --kill-after=20 60 "$@" "$program") >"$log" 2>&1 </dev/null || code=$?
    end_after "$code"
    if ((code != 0)); then
        outcome=failed
        show_tail "$log"
    fi
    add_outcomes "$suite/install" <<<"$outcome InstallTest.AConsumerWorks/$kind"
}

# run_consumers SUITE PRESET SUFFIX [STARTER...]
run_consumers() {
    local suite="$1" preset="$2" suffix="$3" kind consumer="$BUILD/$2/consumers"
    shift 3
    local -x LD_LIBRARY_PATH="$BUILD/$preset/installed/lib" WINEPATH="Z:$BUILD/$preset/installed/bin"
    [[ -z "$suffix" ]] || WINEPATH+=";$(compiler_folders "$preset")"
    for kind in shared static; do
        run_consumer "$suite" "$consumer/subdirectory/consumer_$kind$suffix" "subdirectory-$kind" "$@"
        run_consumer "$suite" "$consumer/find_package/consumer_$kind$suffix" "find_package-$kind" "$@"
    done
    run_consumer "$suite" "$consumer/pkg_config/consumer_pkg_config$suffix" pkg_config "$@"
    [[ "$preset" != linux-x64 ]] ||
        run_consumer "$suite" "$consumer/fetch_content/consumer_fetch_content" fetch_content "$@"
}

# run_copied_fetch SUITE PRESET SUFFIX [STARTER...]: the example that was copied elsewhere fetches a file.
run_copied_fetch() {
    local suite="$1" program="$BUILD/$2/consumers/example/fetch/lum_fetch$3" log="$LOGS/$1/install-example.log" code=0
    local outcome=passed
    shift 3
    local -x WINEPATH=""
    [[ "$program" != *.exe ]] || WINEPATH="$(compiler_folders "$suite")"
    # shellcheck disable=SC2016
    timeout --kill-after=20 60 "$TEST_SERVER" -- bash -c 'exec "$@" "http://127.0.0.1:$LUM_TEST_NGINX_PORT/one.bin"' \
        fetch "$@" "$program" >"$log" 2>&1 </dev/null || code=$?
    end_after "$code"
    if ((code != 0)); then
        outcome=failed
        show_tail "$log"
    fi
    add_outcomes "$suite/install" <<<"$outcome InstallTest.ACopiedExampleWorks"
}

# cut_from_readme LANGUAGE: the first block of the README in that language.
cut_from_readme() { awk -v fence="^\`\`\`$1\$" '$0 ~ fence { on = 1; next } /^```/ { if (on) exit } on' README.md; }

# unpack_package PRESET ROOT: makes the package, and unpacks it into an empty folder.
unpack_package() {
    local preset="$1" root="$2" made="$BUILD/packages/$1" file
    rm -rf "$made" "$root"
    mkdir -p "$made" "$root"
    cpack --config "$BUILD/$preset/CPackConfig.cmake" -B "$made" || return 1
    for file in "$made"/*.deb "$made"/*.zip; do
        case "$file" in
        *\**) ;;
        *.deb) dpkg-deb -x "$file" "$root" && dpkg-deb --field "$file" Depends | grep libcurl >/dev/null ;;
        *.zip) unzip -q "$file" -d "$root" ;;
        esac || return 1
    done
    [[ -n "$(find "$root" -name THIRD-PARTY-NOTICES.md)" ]] &&
        grep -q '^PackageLicenseDeclared: NONE' "$(find "$root" -name liblumutilsWinCli.spdx)"
}

# use_package_of PRESET FOLDER SUFFIX [STARTER...]: the README's request, built with the README's lines and the unpacked
# package, fetches a file. It runs under the test server.
use_package_of() {
    local preset="$1" folder="$2" suffix="$3" root folders=""
    shift 3
    mkdir -p "$folder/readme"
    cut_from_readme cmake >"$folder/readme/lines.cmake"
    cut_from_readme cpp | sed "s#https://example.org/#http://127.0.0.1:$LUM_TEST_NGINX_PORT/licenses/BSD#" \
        >"$folder/readme/main.cpp"
    root="$(dirname "$(find "$folder/root" -type d -name include)")"
    consumer_cmake "$preset" tests/install/readme "$folder/program" "-DCMAKE_PREFIX_PATH=$root" \
        "-DREADME_FOLDER=$folder/readme" || return 1
    [[ -z "$suffix" ]] || folders="Z:$root/bin;$(compiler_folders "$preset")"
    env LD_LIBRARY_PATH="$root/lib" WINEPATH="$folders" timeout --kill-after=20 60 "$@" "$folder/program/your_program$suffix" |
        tee /dev/stderr | grep Redistribution >/dev/null
}

# check_packages SUITE PRESET SUFFIX [STARTER...]
check_packages() {
    local suite="$1" preset="$2" folder="$BUILD/$2/package-consumer" outcome=failed log="$LOGS/$1/packages.log" code=0
    shift
    say "    packages"
    if run_logged "$log" unpack_package "$preset" "$folder/root"; then
        export -f use_package_of cut_from_readme consumer_cmake compiler_folders say
        export BUILD
        # shellcheck disable=SC2016
        timeout --kill-after=20 300 "$TEST_SERVER" -- bash -c "$(declare -p CONSUMER_COMPILER CONSUMER_TARGET)"'
            set -euo pipefail; use_package_of "$1" "$2" "${@:3}"' package "$preset" "$folder" "${@:2}" \
            >>"$log" 2>&1 </dev/null || code=$?
        end_after "$code"
        ((code != 0)) || outcome=passed
    fi
    [[ "$outcome" == passed ]] || show_tail "$log"
    add_outcomes "$suite/packages" <<<"$outcome PackageTest.TheReadmesRequestIsBuiltWithThePackage"
}

# check_install SUITE PRESET SUFFIX [STARTER...]
check_install() {
    local suite="$1" preset="$2" suffix="$3" passed=$PASSED failed=$FAILED start=$SECONDS
    shift 3
    say "    install"
    if ! run_logged "$LOGS/$suite/install.log" install_and_build "$preset" "$suffix"; then
        add_failure "$suite/install - (the library cannot be used by others)"
        return
    fi
    run_consumers "$suite" "$preset" "$suffix" "$@"
    run_copied_fetch "$suite" "$preset" "$suffix" "$@"
    say "      $((PASSED - passed)) passed, $((FAILED - failed)) failed, $((SECONDS - start)) s"
}
