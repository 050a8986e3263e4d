#!/bin/sh
# Checks how all C++ files and those of the page are laid out; changes nothing.
#
# - No line has more than 100 columns, comments included, which clang-format leaves alone. Only
#   the tests' tables may be wider, between "// clang-format off" and "// clang-format on".
# - No file of Source/ has more than 500 lines: a longer one holds two concepts.
# - The layout is that of .clang-format. To lay out a file anew: clang-format -i FILE
#
# Exit status: 0 all well, 1 some file differs, 77 well as far as can be told without clang-format.

# Each major version of clang-format lays out a few lines in its own way, so
# only one of them can be the judge.
VERSION=14

cd "$(dirname "$0")/.." || exit 1

# The C++ files of the given folders, each followed by a zero byte.
files_of() {
    for folder in "$@"; do
        [ ! -d "$folder" ] || find "$folder" -name '*.h' -o -name '*.cpp'
    done | sort | tr '\n' '\0'
}

# Likewise the page's.
files_of_page() {
    find Web/*.cpp Web/src Web/test -name '*.cpp' -o -name '*.*js' -o -name '*.css' -o -name '*.html' |
        sort | tr '\n' '\0'
}

failed=0

{ files_of Source Tests Training && files_of_page; } | xargs -0 -r awk '
    FNR == 1 { table = 0 }
    /\/\/ clang-format off/ { table = FILENAME ~ /^Tests\// }
    /\/\/ clang-format on/ { table = 0 }
    length > 100 && !table { print FILENAME ":" FNR ": " length " columns, 100 are allowed"; bad = 1 }
    END { exit bad }' || failed=1

files_of Source | xargs -0 -r awk '
    FNR == 501 { print FILENAME ": more than 500 lines"; bad = 1 }
    END { exit bad }' || failed=1

for tool in "clang-format-$VERSION" clang-format none; do
    "$tool" --version 2>/dev/null | grep -q "version $VERSION\." && break
done
if [ "$tool" = none ]; then
    echo "clang-format $VERSION is missing: only widths and lengths are checked"
    [ "$failed" != 0 ] || exit 77
else
    files_of Source Tests Training | xargs -0 -r "$tool" --dry-run -Werror --style=file || failed=1
fi
exit "$failed"
