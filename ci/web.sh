#!/bin/sh
# Builds the page for browsers and tries it in node and in Chromium.
set -eu
exec "$(dirname "$0")/../Web/test.sh"
