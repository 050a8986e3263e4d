#!/bin/sh
# Serves the page that Web/build.sh has built, on the loopback address with the headers that threads
# need: Web/serve.sh [PORT], 8000 unless another is named
set -eu
cd "$(dirname "$0")/.."
[ -e build/web/index.html ] || Web/build.sh
exec Web/node_modules/.bin/serve --no-clipboard --listen "tcp://127.0.0.1:${1:-8000}" build/web
