#!/bin/sh
# Builds with a compiler, g++ unless another is named, and runs all tests: ci/linux.sh [COMPILER]
set -eu
cd "$(dirname "$0")/.."
export CXX="${1:-g++}"
exec ./test.sh --quick
