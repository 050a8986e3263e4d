#!/bin/sh
# Checks the layout of all C++ files against .clang-format; changes nothing.
# Exit status: 0 all well, 1 some file differs, 77 no fitting clang-format here.
#
# To lay out a file anew: clang-format -i FILE

# Each major version of clang-format lays out a few lines in its own way, so
# only one of them can be the judge.
VERSION=14

cd "$(dirname "$0")/.." || exit 1

for tool in "clang-format-$VERSION" clang-format none; do
    "$tool" --version 2>/dev/null | grep -q "version $VERSION\." && break
done
if [ "$tool" = none ]; then
    echo "clang-format $VERSION is missing: layout not checked"
    exit 77
fi

for folder in Source Tests Training; do
    [ ! -d "$folder" ] || find "$folder" -name '*.h' -o -name '*.cpp'
done | sort | tr '\n' '\0' | xargs -0 -r "$tool" --dry-run -Werror --style=file || exit 1
