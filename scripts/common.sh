# SPDX-FileCopyrightText: hbTools developers
# SPDX-License-Identifier: MIT
#
# What ./test, ./demo, ./bench and .ci/run share: which packages a job needs and why, building a preset, and counting
# results. Sourced by bash with `set -euo pipefail`, from the root of the project.

jobs=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
export CMAKE_BUILD_PARALLEL_LEVEL=$jobs

say() { printf '%s\n' "$*" >&2; }
die() { say "$*"; exit 2; }

# The packages of Debian 12, one job a line: "package  why".
packages_build='
g++ the compiler
cmake the build
ninja-build the build
ccache to compile nothing twice
pkg-config finding libraries, and a test of hbtools.pc
libfmt-dev typed formatting of messages
libicu-dev code pages and locale data
libsodium-dev encryption of configuration values
uuid-dev identifiers
libexpat1-dev reading XML strictly
libpugixml-dev the tree of an XML document
zlib1g-dev the compression in zip archives
libcli11-dev command lines of the tools
libedit-dev editing of lines at the prompt of scanlab'
packages_test='
libgtest-dev the tests
locales numbers where the decimal point is a comma'
packages_programs='
python3 the tests of JSON output, and of the reader in Python
python3-numpy the same reader with arrays of numpy
chromium the test of the page that hbtag makes
gdb the test of what a debugger shows
doxygen the reference, whose warnings are failures
man-db the test of the manual pages
groff the same
zsh the test of completion in it
valgrind counting instructions, for what must not grow faster than its input
zip archives by another program
unzip the same
p7zip-full the same
libxml2-utils XML documents by another program
binutils-mingw-w64-x86-64 a version block made by another program'
packages_fuzz='
clang the compiler with the fuzzing engine
libclang-rt-14-dev the fuzzing engine and its sanitizers'
packages_lint='
clang the compile commands
clang-format the layout of the sources
clang-tidy the checks of the sources
python3 running them'
packages_coverage='
gcovr figures and pages from the counters'
packages_packages='
debootstrap a fresh Debian
dpkg-dev what the packages depend on
file the same'
packages_conditions='
llvm reading the counters of clang'
packages_bench='
libbenchmark-dev the benchmarks
libminizip-dev a peer of the zip archives
libhdf5-dev a peer of the archives
libcereal-dev a peer of the archives
libboost-serialization-dev a peer of the archives
libboost-dev a peer of the signals
libspdlog-dev a peer of the debug file
libeigen3-dev a peer of the mathematics
libglib2.0-dev a peer of the configuration files
libinih-dev a peer of the configuration files
libxml2-dev a peer of the XML documents'

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q '^install ok installed$'; }

# need <job>...: installs what is missing for these jobs, after saying what and why.
need() {
    local job list package why missing=()
    command -v dpkg-query >/dev/null || { say "not a Debian system: the packages listed in scripts/common.sh are up to you"; return 0; }
    for job in "$@"; do
        list=packages_$job
        while read -r package why; do
            [ -n "$package" ] || continue
            installed "$package" && continue
            say "missing: $package ($why)"
            missing+=("$package")
        done <<<"${!list}"
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    local root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || die "to install them: become root, then apt-get install ${missing[*]}"
        root=(sudo)
    fi
    say "installing ${#missing[@]} packages with apt-get"
    mkdir -p build
    local log=build/packages.log options=(-q -o DPkg::Lock::Timeout=300)
    # An index that cannot be renewed matters only if a package cannot be had, and that is what is said then.
    if ! {
        "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get "${options[@]}" update || true
        "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get "${options[@]}" install -y --no-install-recommends \
            "${missing[@]}"
    } </dev/null >"$log" 2>&1; then
        cat "$log" >&2
        die "the packages could not be installed"
    fi
}

# configure <preset>
configure() {
    cmake --preset "$1" --log-level=WARNING >&2
}

# build <preset> [target]...
build() {
    local preset=$1
    shift
    configure "$preset" && cmake --build "build/$preset" --parallel "$jobs" ${1:+--target "$@"} >&2
}

# build_quietly <preset> [target]...: the same for jobs whose output is something else. One line if anything is really
# built, the whole log if that fails; it stays in build/<preset>/build.log.
build_quietly() {
    local log=build/$1/build.log
    mkdir -p "build/$1"
    if ! build "$@" 2>&1 | tee "$log" | announce; then
        cat "$log" >&2
        die "the build failed; its log is $log"
    fi
}

# Tells that something is built when the first step of ninja does so; steps that look for work do not count.
announce() {
    local line said=
    while IFS= read -r line; do
        case $line in
        '['*'] Re-'*) ;;
        '['*'] '*) [ -n "$said" ] || say "building, which takes minutes the first time ..."; said=1 ;;
        esac
    done
}

passed=0
failed=0
closed=
# The last line of a job that counts, and its exit code.
finish() {
    closed=1
    printf '%d passed, %d failed\n' "$passed" "$failed"
    [ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
}
