#!/usr/bin/env python3
"""Makes the packages and tries each of them.

    check_packages.py [--twice] [KIND...]    kinds are those of packages.sh; all of them

The .deb is installed into an empty root, searches the benchmark's positions there and is removed
again; the archive for Linux does in a root that has nothing else, the one for ARM 64 under qemu, the
one for Windows under Wine. All print the node totals that the tests hold, and have the guides. Where
lintian is installed the .deb has nothing for it to complain about but what ALLOWED says, with the
reason. --twice makes all of them a second time in a copy of the source and compares the bytes.

Packages whose tools are missing are left out, with a word. Exit status: 0 all well, 1 something is
wrong, 77 nothing could be tried, or MIRD_CI is not set and no package was made before.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile
import tempfile
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PACKAGES = ROOT / "build" / "packages"
GUIDES = ["README.md", "Docs/options.md", "Docs/command-line.md"]

# Kind: the end of the file's name, and a tool without which it can't be made and tried.
KINDS = {
    "deb": (".deb", "dpkg-shlibdeps"),
    "linux": ("-linux-x86-64.tar.gz", "c++"),
    "arm": ("-linux-aarch64.tar.gz", "aarch64-linux-gnu-g++"),
    "windows": ("-windows-x86-64.zip", "x86_64-w64-mingw32-g++-posix"),
}

# What lintian may say, and why it stays.
ALLOWED = {
    "hardening-no-pie": "tables at fixed addresses are worth 2 per cent of the speed",
    "package-section-games-but-has-usr-bin": "links, for root has no folder of games on its path",
}


class Broken(Exception):
    """What the check has found."""


def expect(condition, what):
    if not condition:
        raise Broken(what)


def run(*command, **more):
    return subprocess.run(command, check=True, text=True, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=600,
                          **more).stdout


def totals_of_tests():
    text = (ROOT / "Tests" / "bench_test.cpp").read_text()
    return sorted(int(number) for number in re.findall(r"nodes= (\d+),", text))


def expect_totals(*program, **more):
    found = sorted(int(re.search(r"nodes= (\d+)", run(*program, "-bench", "-d", "10", *options,
                                                      **more))[1])
                   for options in ([], ["-use_hce"]))
    expect(found == totals_of_tests(), f"{program[-1]} searches {found} nodes")


def package(kind):
    found = sorted(PACKAGES.glob(f"*{KINDS[kind][0]}"))
    expect(len(found) == 1, f"packages of kind {kind}: {found}")
    return found[0]


def is_root():
    return hasattr(os, "geteuid") and os.geteuid() == 0


def copy_libraries(program, root):
    """What the program is linked to, the loader among it, at the same place below root."""
    for path in re.findall(r"(/\S+) \(0x", run("ldd", program)):
        target = root / path.lstrip("/")
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(path, target)


def files_below(root):
    return sorted(str(path.relative_to(root)) for path in root.rglob("*") if not path.is_dir())


def try_deb(folder):
    root = folder / "root"
    (root / "var/lib/dpkg/updates").mkdir(parents=True)
    (root / "var/lib/dpkg/info").mkdir()
    (root / "var/lib/dpkg/status").touch()
    dpkg = ["dpkg", "--log=/dev/null", f"--root={root}", "--force-depends", "--force-not-root"]
    run(*dpkg, "-i", package("deb"))
    program = root / "usr/games/mird"
    expect((root / "usr/share/man/man6/mird.6.gz").exists(), "no page of the manual in the .deb")
    for guide in GUIDES:
        expect(any((root / "usr/share/doc/mird" / name).exists() for name in (guide, guide + ".gz")),
               f"no {guide} in the .deb")
    if is_root():
        copy_libraries(program, root)
        expect_totals("chroot", root, "/usr/bin/mird")
    else:
        expect_totals(program)
    before = files_below(root / "usr")
    run(*dpkg, "-r", "mird")
    left = [name for name in files_below(root / "usr") if not name.startswith("lib")]
    expect(before and not left, f"a removed package leaves {left}")
    if shutil.which("lintian"):
        said = subprocess.run(["lintian", "--allow-root", package("deb")], check=False, text=True,
                              stdout=subprocess.PIPE).stdout.splitlines()
        wrong = [line for line in said if line.split(": ")[2].split()[0] not in ALLOWED]
        expect(not wrong, "lintian: " + "; ".join(wrong))


def unpack_tar(kind, folder):
    with tarfile.open(package(kind)) as archive:
        archive.extractall(folder)
    (top,) = folder.iterdir()
    expect((top / "share/man/man6/mird.6").exists(), f"no page of the manual for {kind}")
    for guide in [*GUIDES, "LICENSE"]:
        expect((top / "share/doc/mird" / guide).exists(), f"no {guide} for {kind}")
    return top


def try_linux(folder):
    top = unpack_tar("linux", folder)
    if is_root():
        expect_totals("chroot", top, "/bin/mird")
    else:
        expect_totals(top / "bin/mird")


def try_arm(folder):
    qemu = next((tool for tool in ("qemu-aarch64", "qemu-aarch64-static") if shutil.which(tool)),
                None)
    top = unpack_tar("arm", folder)
    if qemu:
        expect_totals(qemu, top / "bin/mird")
    else:
        print("arm: not run, qemu is not installed")


def try_windows(folder):
    with zipfile.ZipFile(package("windows")) as archive:
        archive.extractall(folder / "zip")
    (top,) = (folder / "zip").iterdir()
    for guide in [*GUIDES, "LICENSE"]:
        expect((top / guide).exists(), f"no {guide} for windows")
    if not shutil.which("wine"):
        print("windows: not run, wine is not installed")
        return
    settings = dict(os.environ, WINEPREFIX=str(folder / "wine"), WINEDEBUG="-all", DISPLAY="")
    try:
        expect_totals("wine", top / "mird.exe", env=settings)
    finally:
        subprocess.run(["wineserver", "-k"], check=False, env=settings, stderr=subprocess.DEVNULL)


def compare_twice(kinds):
    """The same packages from a copy of the source in another folder."""
    with tempfile.TemporaryDirectory(prefix="mird-twice-") as name:
        copy = pathlib.Path(name) / "a" / "longer" / "place"
        run("git", "clone", "-q", ROOT, copy)
        epoch = run("git", "log", "-1", "--format=%ct", cwd=ROOT).strip()
        run(copy / "packages.sh", *kinds, env=dict(os.environ, SOURCE_DATE_EPOCH=epoch))
        for kind in kinds:
            first = package(kind)
            second = copy / "build" / "packages" / first.name
            expect(first.read_bytes() == second.read_bytes(), f"{first.name} comes out different")


def main():
    twice = sys.argv[1:2] == ["--twice"]
    wanted = sys.argv[2 if twice else 1:] or list(KINDS)
    if not set(wanted) <= set(KINDS):
        sys.exit(__doc__)
    kinds = [kind for kind in wanted if shutil.which(KINDS[kind][1])]
    if not kinds or not (PACKAGES.exists() or twice or "MIRD_CI" in os.environ):
        print("skipped: no packages were made, or nothing to make them with")
        return 77
    try:
        shutil.rmtree(PACKAGES, ignore_errors=True)
        run(ROOT / "packages.sh", *kinds)
        for kind in kinds:
            with tempfile.TemporaryDirectory(prefix="mird-package-") as name:
                globals()[f"try_{kind}"](pathlib.Path(name))
        if twice:
            compare_twice(kinds)
    except Broken as broken:
        print(broken)
        return 1
    except subprocess.CalledProcessError as failed:
        print(failed, failed.stdout, sep="\n")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
