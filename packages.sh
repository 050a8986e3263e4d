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

# Builds and packs. Arguments: name, generator of cpack, what cmake is told besides.
pack() {
    name=$1 generator=$2
    shift 2
    folder=build/package-$name
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

mkdir -p build/packages
for name; do
    case $name in
        deb)
            need packing
            pack deb DEB -DMIRD_PGO=ON -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_BINDIR=games ;;
        linux) pack linux TGZ -DMIRD_PGO=ON -DCMAKE_EXE_LINKER_FLAGS=-static ;;
        arm)
            need arm_compiler
            pack arm TGZ --toolchain cmake/aarch64.cmake -DCMAKE_EXE_LINKER_FLAGS=-static ;;
        windows)
            need windows_compiler
            pack windows ZIP --toolchain cmake/windows.cmake ;;
        *) echo "usage: $0 [deb] [linux] [arm] [windows]" >&2; exit 2 ;;
    esac
done
ls -l build/packages >&2
