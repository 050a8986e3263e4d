#!/bin/sh
# Builds the page and tries it, in node and in Chromium: Web/test.sh
set -eu
cd "$(dirname "$0")/.."
Web/build.sh
MIRD_FUNCTIONS_ONLY=1
. ./run.sh
need chromium python
node Web/test/rules.mjs
node Web/test/node_totals.mjs
node Web/test/browser.mjs "$(command -v chromium)"
