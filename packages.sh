#!/bin/sh
# Makes packages of Mird, in build/packages/: ./packages.sh [deb] [linux] [arm] [windows]
#
#   deb       for Debian and its relatives, on this machine's processor
#   linux     an archive for any Linux on x86-64
#   arm       the same for ARM 64
#   windows   an archive for Windows on x86-64
#
# Without arguments all of them. Tools that are missing are installed. The same source gives the
# same bytes with the same compiler, in any folder and at any time: times in the packages are that
# of the last commit, or what SOURCE_DATE_EPOCH says. Exit status 0 means that all packages are
# there.

set -eu
root=$(cd "$(dirname "$0")" && pwd)
cd "$root"
[ $# -gt 0 ] || set -- deb linux arm windows

MIRD_FUNCTIONS_ONLY=1
. ./run.sh
need compiler cmake make

if [ -z "${SOURCE_DATE_EPOCH:-}" ]; then
    SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null) || SOURCE_DATE_EPOCH=1795305600
fi
export SOURCE_DATE_EPOCH LC_ALL=C
umask 022
jobs=$(nproc)
command -v make >/dev/null 2>&1 || export CMAKE_GENERATOR=Ninja

# Builds and packs. Arguments: name, folder below build/, generator of cpack, what cmake is told
# besides.
pack() {
    name=$1 folder=build/$2 generator=$3
    shift 3
    echo "== $name" >&2
    rm -rf "$folder/_CPack_Packages"
    {
        cmake -S . -B "$folder" -DCMAKE_BUILD_TYPE=Release -DMIRD_BUILD_TESTS=OFF \
            -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$root=." "$@" &&
            cmake --build "$folder" --target mird mird-uci --parallel "$jobs" &&
            (cd "$folder" && cpack -G "$generator" -B "$root/build/packages")
    } >"build/package-$name.log" 2>&1 || { cat "build/package-$name.log" >&2; return 1; }
    rm -rf build/packages/_CPack_Packages
}

# Both packages for this machine come from one folder, as they differ by how they are linked and
# where things go: one profile and one compilation do for both. Arguments: name, generator, prefix,
# folder of programs below it, how to link.
pack_own() {
    pack "$1" package-own "$2" -DMIRD_PGO=ON -DCMAKE_INSTALL_PREFIX="$3" \
        -DCMAKE_INSTALL_BINDIR="$4" -DCMAKE_EXE_LINKER_FLAGS="$5"
}

mkdir -p build/packages
for name; do
    case $name in
        deb)
            need packing
            pack_own deb DEB /usr games "" ;;
        linux) pack_own linux TGZ /usr/local bin -static ;;
        arm)
            need arm_compiler
            pack arm package-arm TGZ --toolchain cmake/aarch64.cmake -DCMAKE_EXE_LINKER_FLAGS=-static ;;
        windows)
            need windows_compiler
            pack windows package-windows ZIP --toolchain cmake/windows.cmake ;;
        *) echo "usage: $0 [deb] [linux] [arm] [windows]" >&2; exit 2 ;;
    esac
done
ls -l build/packages >&2
