#!/bin/sh
# Makes all packages, twice, and tries them.
set -eu
cd "$(dirname "$0")/.."
export MIRD_CI=1 MIRD_FUNCTIONS_ONLY=1
. ./run.sh
need compiler cmake make packing python
for tool in arm_compiler qemu windows_compiler wine lintian; do need "$tool" || true; done
exec Tests/check_packages.py --twice
