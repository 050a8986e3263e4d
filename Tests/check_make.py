#!/usr/bin/env python3
"""Checks that the Makefile gives frameworks that test engines what they call for.

    check_make.py PROGRAM

`make EXE=NAME CXX=COMPILER -j2` must ask CMake for a Release build without tests by that compiler,
pass -j on and leave the program at NAME, which then knows the word "bench". A script stands for
CMake here: it writes down how it is called, and PROGRAM is what it has built.

Exit status: 0 all well, 1 something is missing, 77 no make.
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Called as "cmake -S . -B FOLDER ..." and as "cmake --build FOLDER ...".
CMAKE = """#!/bin/sh
echo "CXX=$CXX MAKEFLAGS=$MAKEFLAGS $*" >>'{log}'
case $1 in
    -S) mkdir -p "$4" ;;
    --build) cp '{program}' "$2/mird" ;;
esac
"""


def main():
    make = shutil.which("make")
    if not make:
        print("skipped: no make")
        return 77
    with tempfile.TemporaryDirectory(prefix="mird-make-") as name:
        folder = pathlib.Path(name)
        log = folder / "log"
        cmake = folder / "cmake"
        cmake.write_text(CMAKE.format(log=log, program=pathlib.Path(sys.argv[1]).resolve()))
        cmake.chmod(0o755)
        engine = folder / "engine"
        subprocess.run([make, "-j2", f"EXE={engine}", "CXX=some/c++ -m64", f"CMAKE={cmake}",
                        f"BUILD={folder}/build"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
        configure, build = log.read_text().splitlines()
        bench = subprocess.run([engine, "bench", "-d", "1"], cwd=folder, stdout=subprocess.PIPE,
                               stdin=subprocess.DEVNULL, text=True, check=True).stdout

    wanted = [(r"^CXX=some/c\+\+ -m64 .*=Release -DMIRD_BUILD_TESTS=OFF", configure),
              (r"MAKEFLAGS=[^ ]* ?-?j2? .*--build .* --target mird$", build),
              (r"^[0-9]+ nodes [0-9]+ nps$", bench.splitlines()[-1])]
    missing = [(form, text) for form, text in wanted if not re.search(form, text)]
    for form, text in missing:
        print(f"wanted: {form}\nfound:  {text}")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
