#!/bin/sh
# Builds for Linux on ARM 64 and runs the short tests under qemu: ci/arm.sh [all]
#
# With "all" the long ones too, which take an hour.
set -eu
cd "$(dirname "$0")/.."
export MIRD_FUNCTIONS_ONLY=1
. ./run.sh
need cmake make googletest arm_compiler qemu
cmake --preset aarch64
cmake --build --preset aarch64 --parallel "$(nproc)" --target mird mird-uci mird_tests
[ "${1:-}" = all ] || set -- --exclude-regex Long
[ "${1:-}" != all ] || shift
exec ctest --preset aarch64 --parallel "$(nproc)" "$@"
