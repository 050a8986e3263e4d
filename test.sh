#!/bin/sh
# Builds Mird and runs its tests; installs what is missing for that.
#
#   ./test.sh           Release build, all tests
#   ./test.sh --quick   the same, whatever MIRD_CI says
#
# With MIRD_CI set, clang-tidy and include-what-you-use look at all files that the last
# commits have changed (with MIRD_CI=all at all), packages are made, the training programs
# are built and run by Slurm and over ssh, a network is made from nothing at the smallest
# scale, and three Debug builds with sanitizers follow, one of them by clang++, with the
# fuzz targets, and the page for browsers. Tests that need large data look for it where
# MIRD_TEST_DATA says.
# Exit status 0 means that every stage was passed; the first failure ends the run.

set -eu
cd "$(dirname "$0")"

case ${1:-} in
    '') ;;
    --quick) unset MIRD_CI ;;
    *) echo "usage: $0 [--quick]" >&2; exit 2 ;;
esac

MIRD_FUNCTIONS_ONLY=1
. ./run.sh
need compiler cmake make googletest
# The checks of the source that a missing one serves are left out.
for tool in python format tidy includes; do need "$tool" || true; done
if [ -n "${MIRD_CI:-}" ]; then
    for tool in slurm parallel sshd; do need "$tool" || true; done
fi

jobs=$(nproc)
command -v make >/dev/null 2>&1 || export CMAKE_GENERATOR=Ninja

stage() { echo "== $*"; }

# Output that nobody needs unless the command fails.
quietly() {
    mkdir -p build
    "$@" >build/test.log 2>&1 || { cat build/test.log; return 1; }
}

# Builds and tests one preset. The second argument, if any, is a command to run
# ctest under.
run_preset() {
    quietly cmake --preset "$1"
    quietly cmake --build --preset "$1" --parallel "$jobs"
    # Some tests wait: one more at a time than there are processors.
    ${2:-} ctest --preset "$1" --parallel "$((jobs + 1))" --progress
}

stage "Release: all tests"
run_preset release
if [ -z "${MIRD_CI:-}" ]; then exit 0; fi

stage "Address and undefined behaviour sanitizers: short tests"
run_preset asan

# With much randomness in its addresses, Linux may leave the thread sanitizer no
# room for its shadow memory.
stage "Thread sanitizer: short tests"
if setarch "$(uname -m)" -R true 2>/dev/null; then
    run_preset tsan "setarch $(uname -m) -R"
else
    run_preset tsan
fi

# What comes with clang++ may be without libFuzzer and the sanitizers.
fuzzes() {
    echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, decltype(sizeof 0)) { return 0; }' |
        clang++ -fsanitize=fuzzer,address,undefined -x c++ - -o build/fuzzes
}

if fuzzes >/dev/null 2>&1; then
    stage "clang++: all code compiles, sanitizers: short tests"
    run_preset fuzz
    if command -v python3 >/dev/null 2>&1; then
        stage "Fuzz targets: ten seconds each"
        Tests/fuzz/run.py --seconds 10 --seed 1 --jobs "$jobs"
    fi
else
    stage "clang++ with its sanitizers: not installed, left out"
fi

if need emscripten node npm chromium 2>/dev/null; then
    stage "The page for browsers, in node and in Chromium"
    Web/test.sh
else
    stage "Emscripten, node, npm and Chromium: not all installed, the page is left out"
fi

stage "All stages passed"
