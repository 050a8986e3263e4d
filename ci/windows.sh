#!/bin/sh
# Builds for Windows, plays with the program and runs the short tests under Wine:
# ci/windows.sh [all]
#
# With "all" the long ones too, which take five minutes more.
set -eu
cd "$(dirname "$0")/.."
export MIRD_CI=1 MIRD_FUNCTIONS_ONLY=1
. ./run.sh
need cmake make googletest windows_compiler wine python
Tests/check_windows.py
cmake --build --preset windows --parallel "$(nproc)" --target mird_tests

# Wine has its registry in a folder of its own, and one server for all tests.
WINEPREFIX=$(mktemp -d)
export WINEPREFIX WINEDEBUG=-all DISPLAY=
trap 'wineserver -k; rm -rf "$WINEPREFIX"' EXIT
wineserver -p
wine wineboot >/dev/null 2>&1
[ -z "${MIRD_TEST_DATA:-}" ] || export MIRD_TEST_DATA="Z:$MIRD_TEST_DATA"
[ "${1:-}" = all ] || set -- --exclude-regex Long
[ "${1:-}" != all ] || shift
ctest --preset windows --parallel "$(nproc)" "$@" </dev/null
