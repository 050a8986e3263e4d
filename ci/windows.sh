#!/bin/sh
# Builds for Windows and plays with the program under Wine.
set -eu
cd "$(dirname "$0")/.."
export MIRD_CI=1 MIRD_FUNCTIONS_ONLY=1
. ./run.sh
need cmake make windows_compiler wine python
exec Tests/check_windows.py
