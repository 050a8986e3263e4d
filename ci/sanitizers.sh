#!/bin/sh
# Everything that ./test.sh does with MIRD_CI set: checks of files, sanitizers, fuzz targets.
set -eu
cd "$(dirname "$0")/.."
export MIRD_CI=1
exec ./test.sh
