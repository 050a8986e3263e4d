#!/bin/sh
# Builds the page, engine and all, into build/web: Web/build.sh
#
# What is missing is installed: Emscripten and node from the distribution's packages, the libraries
# of the page by npm, as Web/package-lock.json says, and without running scripts of theirs. The
# folder can be put on any host of files.
set -eu
cd "$(dirname "$0")/.."
MIRD_FUNCTIONS_ONLY=1
. ./run.sh
need cmake make emscripten node npm
jobs=$(nproc)
command -v make >/dev/null 2>&1 || export CMAKE_GENERATOR=Ninja

# Arguments: folder, whether there are threads.
#
# Where node is not the distribution's own it doesn't find by itself what Emscripten's package uses.
build_module() {
    export NODE_PATH="${NODE_PATH:+$NODE_PATH:}/usr/share/nodejs"
    emcmake cmake -S . -B "$1" -DCMAKE_BUILD_TYPE=Release -DMIRD_BUILD_TESTS=OFF \
        -DMIRD_WEB_THREADS="$2"
    cmake --build "$1" --parallel "$jobs"
}

# One module at a time would leave a processor idle for most of it: they are linked by one.
mkdir -p build
{
    build_module build/web-single OFF &
    single=$!
    (build_module build/web-threads ON) &&
        (cd Web && npm ci --no-audit --no-fund --ignore-scripts) &&
        wait "$single"
} >build/web.log 2>&1 || { wait; cat build/web.log >&2; exit 1; }

rm -rf build/web
mkdir -p build/web/engine build/web/board/pieces
cp Web/src/index.html Web/src/style.css Web/serve.json build/web/
cp Web/src/worker.js build/web-single/Web/mird.js build/web-single/Web/mird.wasm \
    build/web-threads/Web/mird-threads.* build/web/engine/
# The other set of pieces must not be given to everybody.
assets=Web/node_modules/cm-chessboard/assets
cp "$assets/chessboard.css" build/web/board/
cp "$assets/pieces/standard.svg" build/web/board/pieces/
cp -r "$assets/extensions" build/web/board/
find build/web/board -name '*.scss' -exec rm {} +
find build/web/board -name '*.map' -exec rm {} +
find build/web/board -name '*.css' -exec sed -i '/^\/\*# sourceMappingURL/d' {} +
Web/node_modules/.bin/esbuild Web/src/main.js --bundle --minify --format=esm --target=es2021 \
    --legal-comments=eof --log-level=warning --outfile=build/web/main.js
{
    echo "The engine and the page:"
    cat LICENSE
    for library in cm-chessboard cm-chess cm-pgn chess.mjs; do
        echo
        echo "$library, in main.js and board/:"
        cat "Web/node_modules/$library/LICENSE"
    done
    echo
    echo "The rules in chess.mjs are those of chess.js:"
    sed -n '2,/^ \*-/s/^ \* \{0,1\}//p' Web/node_modules/chess.mjs/src/Chess.js
    echo "The pieces have a licence of their own, told in board/pieces/standard.svg."
} >build/web/LICENSES.txt
