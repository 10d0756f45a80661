# shellcheck shell=bash
# Using the library as somebody else would, linked in both ways: installed, by CMake and by pkg-config, and as sources in a
# folder of a CMake project.

# The toolchain of a preset, for CMake and by name.
declare -A CONSUMER_COMPILER=(
    [linux-x64]=c++
    [windows-x86]=i686-w64-mingw32-g++-posix
    [windows-x64]=x86_64-w64-mingw32-g++-posix
)
declare -A CONSUMER_TOOLCHAIN=(
    [windows-x86]=mingw-w64-i686
    [windows-x64]=mingw-w64-x86_64
)

# build_by_cmake PRESET FOLDER
build_by_cmake() {
    local preset="$1" folder="$2" toolchain="${CONSUMER_TOOLCHAIN[$1]:-}"
    cmake -G Ninja -S tests/install -B "$folder" -DCMAKE_BUILD_TYPE=Release \
        "-DlumutilsWinCli_DIR=$BUILD/$preset/installed/lib/cmake/lumutilsWinCli" \
        ${toolchain:+"-DCMAKE_TOOLCHAIN_FILE=$ROOT/cmake/$toolchain.cmake"} && cmake --build "$folder"
}

# build_by_subdirectory PRESET FOLDER: without an optimiser, as what is tried is whether it builds and links.
build_by_subdirectory() {
    local preset="$1" folder="$2" toolchain="${CONSUMER_TOOLCHAIN[$1]:-}"
    cmake -G Ninja -S tests/install/subdirectory -B "$folder" "-DLIBRARY_FOLDER=$ROOT" \
        ${toolchain:+"-DCMAKE_TOOLCHAIN_FILE=$ROOT/cmake/$toolchain.cmake"} &&
        cmake --build "$folder" -j "$(nproc)" --target consumer_shared consumer_static
}

# build_by_pkg_config PRESET FOLDER SUFFIX [LINK_OPTION]
build_by_pkg_config() {
    local preset="$1" folder="$2" compiler="${CONSUMER_COMPILER[$1]}" flags expected
    local -x PKG_CONFIG_PATH="$BUILD/$preset/installed/lib/pkgconfig"
    flags="$(pkg-config --cflags --libs lumutilsWinCli)" || return 1
    expected="$(pkg-config --modversion lumutilsWinCli)"
    # shellcheck disable=SC2086
    "$compiler" -std=c++17 -O2 "-DEXPECTED_VERSION=\"$expected\"" tests/install/main.cpp \
        -o "$folder/consumer_pkg_config$3" $flags ${4:-}
}

# install_and_build PRESET SUFFIX [LINK_OPTION]
install_and_build() {
    local preset="$1" suffix="$2" installed="$BUILD/$1/installed" consumer="$BUILD/$1/install-consumer"
    rm -rf "$installed" "$consumer"
    mkdir -p "$consumer"
    cmake --install "$BUILD/$preset" --prefix "$installed" && build_by_cmake "$preset" "$consumer" &&
        build_by_pkg_config "$preset" "$consumer" "$suffix" "${3:-}" &&
        build_by_subdirectory "$preset" "$consumer/subdirectory"
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
    local suite="$1" preset="$2" suffix="$3" kind consumer="$BUILD/$2/install-consumer"
    shift 3
    # These have built their library themselves, and know or hold where it is.
    for kind in shared static; do
        run_consumer "$suite" "$consumer/subdirectory/consumer_$kind$suffix" "subdirectory-$kind" "$@"
    done
    local -x LD_LIBRARY_PATH="$BUILD/$preset/installed/lib" WINEPATH="Z:$BUILD/$preset/installed/bin"
    for kind in shared static pkg_config; do
        run_consumer "$suite" "$consumer/consumer_$kind$suffix" "$kind" "$@"
    done
}

# check_install SUITE PRESET SUFFIX [STARTER...]
check_install() {
    local suite="$1" preset="$2" suffix="$3" passed=$PASSED failed=$FAILED
    shift 3
    say "    install"
    if ! run_logged "$LOGS/$suite/install.log" install_and_build "$preset" "$suffix" ${suffix:+-static}; then
        add_failure "$suite/install - (the library cannot be used by others)"
        return
    fi
    run_consumers "$suite" "$preset" "$suffix" "$@"
    say "      $((PASSED - passed)) passed, $((FAILED - failed)) failed"
}
