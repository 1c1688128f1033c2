# shellcheck shell=bash
# Shared by the scripts: locations, messages, packages. Sourced by bash.

set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"

say() { printf '==> %s\n' "$*"; }
die() { printf '%s\n' "$*" >&2; exit 1; }

# find_root ARGUMENT...: how to become root for apt-get with these arguments.
find_root() {
    as_root=()
    [ "$(id -u)" -ne 0 ] || return 0
    command -v sudo >/dev/null || die "Installing packages needs root. As root: apt-get $*"
    as_root=(sudo)
}

# apt_get ARGUMENT...: after find_root; one at a time, since what runs beside
# may need packages, too.
apt_get() {
    mkdir -p build
    flock build/packages.lock "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q "$@"
}

# need_packages REASON PACKAGE...: installs what is missing of Debian's packages.
need_packages() {
    local reason=$1 missing=() package
    shift
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    command -v apt-get >/dev/null || die "Needed $reason, and not installed: ${missing[*]}"
    say "Installing $reason: ${missing[*]}"
    find_root install "${missing[@]}"
    local log
    log=$(mktemp)
    if ! { apt_get update && apt_get install -y --no-install-recommends "${missing[@]}"; } \
        >"$log" 2>&1; then
        tail -n 20 "$log" >&2
        die "The packages could not be installed; the whole log is $log"
    fi
    rm -f "$log"
}

need_build_packages() {
    need_packages "the compiler and the build tools" g++ cmake ninja-build ccache
    need_packages "the Qt 5 toolkit" qtbase5-dev
}

need_linux_build_packages() {
    need_build_packages
    need_packages "what the Linux backend is built with" libudev-dev pkg-config
}

# What the developers' trees are built with: the program for every machine that
# is not Windows, and its tests.
need_test_build_packages() {
    need_linux_build_packages
    need_packages "machines with the test's devices" umockdev libumockdev-dev
    need_providers
}

# What the fuzzing targets are built with.
need_fuzz_packages() {
    need_test_build_packages
    need_packages "the compiler with the fuzzer" clang libclang-rt-14-dev
}

# The world's mobile providers; the operators' window reads them, and the build
# for Windows takes them into the program.
need_providers() {
    need_packages "the list of the world's mobile providers" mobile-broadband-provider-info
}

need_display_packages() {
    need_packages "a virtual display, a window manager and what clicks and takes pictures" \
        xvfb openbox xdotool x11-utils libx11-dev imagemagick
    need_packages "a font with the width of the usual Windows fonts, and the usual one" \
        fonts-liberation fonts-dejavu-core
}

# What counts the lines that the tests run.
need_coverage_packages() {
    need_packages "what counts the lines that were run" gcovr python3
}

# What boots user-mode Linux, and what runs in it.
need_guest_packages() {
    need_packages "user-mode Linux and what runs in it" \
        user-mode-linux ppp udev kmod iproute2 socat curl python3 umockdev util-linux procps passwd \
        pkexec polkitd dbus
    need_providers
    need_display_packages
}

# configure PRESET [OPTION...]: configures when needed.
configure() {
    local preset=$1 log=build/configure-$1.log
    shift
    [ ! -f "build/$preset/build.ninja" ] || return 0
    mkdir -p build
    cmake --preset "$preset" "$@" >"$log" 2>&1 || {
        tail -n 30 "$log" >&2
        die "The $preset build could not be configured; the whole log is $log"
    }
    rm -f "$log"
}

# build PRESET [TARGET...]: configures when needed and builds.
build() {
    local preset=$1
    shift
    say "Building ($preset)"
    configure "$preset"
    cmake --build "build/$preset" ${1:+--target "$@"}
}

# How many of CTest's slots there are: two are a processor's work, and each test says
# how many it takes (tests/CMakeLists.txt).
test_slots() {
    echo $((2 * $(nproc)))
}

# run_tests FOLDER [OPTION...]: those of a build folder.
run_tests() {
    local folder=$1
    shift
    ctest --test-dir "$folder" --output-on-failure --no-tests=error \
        --parallel "$(test_slots)" "$@"
}

# forget_counts: what the tests in build/coverage have run before is not counted.
forget_counts() {
    find build/coverage -name '*.gcda' -delete
}

# count_lines: those that they have run since, for tests/coverage/check.py. Without the
# branches that the compiler makes for exceptions, and without what threads have counted
# against each other below zero.
count_lines() {
    say "Counting the lines that were run; build/coverage/report/index.html shows them"
    mkdir -p build/coverage/report
    gcovr --root . --object-directory build/coverage \
        --filter '(app|mainwindow|dialup|serial|install|wizard|dialogs|operators|platform)/' \
        --exclude '.*_autogen.*' --exclude-throw-branches --exclude-unreachable-branches \
        --gcov-ignore-parse-errors \
        --json build/coverage/coverage.json --html-details build/coverage/report/index.html \
        build/coverage 2>build/coverage/gcovr.log || die "gcovr failed; see build/coverage/gcovr.log"
}

# check_lines: a line that no test has run fails. A few are run only when two things meet;
# so the plain tests then run once more. Without root some tests are skipped, and nothing
# fails.
check_lines() {
    count_lines
    if [ "$(id -u)" -ne 0 ]; then
        python3 tests/coverage/check.py --only-print
        return
    fi
    python3 tests/coverage/check.py && return
    say "Once more, for lines that are run only now and then"
    run_tests build/coverage
    count_lines
    python3 tests/coverage/check.py
}
