#!/bin/sh
# Builds Mird if need be and becomes it: ./run.sh [arguments of the engine]
#
# A chess GUI may be told to start this file, with -strict if it can pass that.
# So standard input and standard output belong to the engine alone, everything
# said here goes to standard error, and the engine keeps the working directory of
# the caller. For other GUIs build/run/mird-uci is built beside it.
#
# test.sh reads the functions of this file, with MIRD_FUNCTIONS_ONLY set.

# Installs packages of the distribution. Arguments: name of the package manager,
# then packages. Fails if that is not allowed or does not work.
install_with() {
    manager=$1
    shift
    as_root=
    if [ "$(id -u)" != 0 ]; then
        sudo -n true || return 1
        as_root="sudo -n"
    fi
    case $manager in
        # A new list of packages is fetched only if the old one does not do.
        apt-get)
            set -- env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$@"
            $as_root "$@" || { $as_root apt-get update && $as_root "$@"; } ;;
        dnf) $as_root dnf install -y "$@" ;;
        pacman)
            set -- --needed --noconfirm "$@"
            $as_root pacman -S "$@" || $as_root pacman -Sy "$@" ;;
        zypper) $as_root zypper --non-interactive install "$@" ;;
        apk) $as_root apk add "$@" ;;
    esac
}

has_compiler() { command -v "${CXX:-c++}" || command -v g++ || command -v clang++; }
has_cmake() { command -v cmake; }
has_make() { command -v ninja || command -v make; }
has_googletest() { echo '#include <gtest/gtest.h>' | "${CXX:-c++}" -x c++ -E -; }
has_format() { command -v clang-format; }
has_tidy() { command -v clang-tidy; }
has_includes() { command -v include-what-you-use; }
has_python() { command -v python3; }
has_slurm() { PATH=$PATH:/usr/sbin; command -v slurmd && command -v slurmctld && command -v munged; }
has_parallel() { command -v parallel; }
has_sshd() { PATH=$PATH:/usr/sbin; command -v sshd && command -v ssh; }
has_packing() { command -v dpkg-shlibdeps && command -v dpkg-deb; }
has_arm_compiler() { command -v aarch64-linux-gnu-g++; }
has_qemu() { command -v qemu-aarch64 || command -v qemu-aarch64-static; }
has_wine() { command -v wine; }
has_emscripten() { command -v emcc; }
has_node() { command -v node; }
has_npm() { command -v npm; }
has_chromium() { command -v chromium; }
has_lintian() { command -v lintian; }
has_windows_compiler() { command -v x86_64-w64-mingw32-g++-posix; }

# The name of a package. Arguments: package manager, what is needed.
package_of() {
    case $1:$2 in
        apt-get:compiler) echo g++ ;;
        dnf:compiler | zypper:compiler) echo gcc-c++ ;;
        pacman:compiler) echo gcc ;;
        apk:compiler) echo build-base ;;
        apt-get:googletest) echo libgtest-dev ;;
        dnf:googletest) echo gtest-devel ;;
        apk:googletest) echo gtest-dev ;;
        *:googletest) echo gtest ;;
        apt-get:format) echo clang-format ;;
        dnf:format) echo clang-tools-extra ;;
        apk:format) echo clang-extra-tools ;;
        apt-get:tidy) echo clang-tidy ;;
        dnf:tidy) echo clang-tools-extra ;;
        apk:tidy) echo clang-extra-tools ;;
        *:format | *:tidy) echo clang ;;
        apt-get:includes | dnf:includes) echo iwyu ;;
        *:includes) echo include-what-you-use ;;
        apt-get:slurm) echo slurm-wlm ;;
        pacman:slurm) echo slurm-llnl ;;
        pacman:sshd | apk:sshd) echo openssh ;;
        *:sshd) echo openssh-server ;;
        zypper:parallel) echo gnu_parallel ;;
        apt-get:packing) echo dpkg-dev ;;
        apt-get:arm_compiler) echo g++-aarch64-linux-gnu ;;
        dnf:arm_compiler) echo gcc-c++-aarch64-linux-gnu ;;
        *:arm_compiler) echo aarch64-linux-gnu-gcc ;;
        apt-get:windows_compiler) echo g++-mingw-w64-x86-64-posix ;;
        *:windows_compiler) echo mingw-w64-gcc ;;
        apt-get:qemu) echo qemu-user ;;
        dnf:qemu | apk:qemu) echo qemu-aarch64 ;;
        *:qemu) echo qemu-user ;;
        apt-get:node) echo nodejs ;;
        pacman:python) echo python ;;
        *:python) echo python3 ;;
        *) echo "$2" ;; # cmake and make have one name everywhere
    esac
}

# Sees to it that each of the arguments (compiler, cmake, make, googletest,
# format, tidy, includes, python, slurm, parallel, sshd, packing, arm_compiler, windows_compiler,
# qemu, wine, lintian, emscripten, node, npm, chromium) is there. Says in one line what is still
# missing after that and fails.
need() {
    missing=
    for thing in "$@"; do
        "has_$thing" >/dev/null 2>&1 || missing="$missing $thing"
    done
    [ -n "$missing" ] || return 0

    packages=
    for manager in apt-get dnf pacman zypper apk none; do
        command -v "$manager" >/dev/null 2>&1 && break
    done
    if [ "$manager" != none ]; then
        for thing in $missing; do packages="$packages $(package_of "$manager" "$thing")"; done
        # shellcheck disable=SC2086 # one argument for each package
        install_with "$manager" $packages >/dev/null 2>&1 </dev/null || true
    fi

    for thing in $missing; do
        "has_$thing" >/dev/null 2>&1 && continue
        echo "Missing, please install:${packages:-$missing}" >&2
        return 1
    done
}

[ -z "${MIRD_FUNCTIONS_ONLY:-}" ] || return 0

self=$(readlink -f "$0") || exit 1
root=${self%/*}
build=$root/build/run
log=$root/build/run.log
stamp=$build/built # its time is that of the start of the last good build

# A changed file is newer than the stamp; after a removal its folder is.
up_to_date() {
    [ -x "$build/mird" ] && [ -x "$build/mird-uci" ] && [ -e "$stamp" ] &&
        [ -z "$(find "$root/Source" "$root/CMakeLists.txt" -newer "$stamp" 2>&1 | head -n 1)" ]
}

# By a profile, as it is a tenth faster: so the engine is built twice.
configure() {
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DMIRD_BUILD_TESTS=OFF -DMIRD_PGO=ON
}

build_engine() {
    need compiler cmake make || return 1
    echo "Building Mird, this takes two minutes ..." >&2
    # Without make, cmake must be told to use ninja; an old folder knows already.
    command -v make >/dev/null 2>&1 || export CMAKE_GENERATOR=Ninja
    touch "$root/build/run.start"
    # A build folder that was copied from elsewhere can only be thrown away.
    if { configure || { rm -rf "$build" && configure; }; } >"$log" 2>&1 &&
        cmake --build "$build" --target mird mird-uci --parallel "$(nproc)" >>"$log" 2>&1; then
        mv "$root/build/run.start" "$stamp"
    else
        cat "$log" >&2
        return 1
    fi
}

if ! up_to_date; then
    # Two engines started at the same time must not build at the same time.
    (
        mkdir -p "$root/build" && exec 9>"$root/build/run.lock" || exit 1
        ! command -v flock >/dev/null 2>&1 || flock 9
        up_to_date || build_engine
    ) </dev/null >&2 || exit 1
fi

exec "$build/mird" "$@"
