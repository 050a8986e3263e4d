#!/usr/bin/env python3
"""Builds the engine for Windows and plays with it under Wine.

    check_windows.py

Builds with the preset "windows" if it was built before or MIRD_CI is set. The node totals are those
of the other builds; a conversation by pipes goes as everywhere: answers come at once, the end of
the input ends the program, names of files are UTF-8, tables are mapped.

Exit status: 0 all well, 1 something is wrong, 77 a tool is missing or nothing was built yet.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAM = ROOT / "build" / "windows" / "mird.exe"
TOOLS = ["x86_64-w64-mingw32-g++-posix", "wine"]
PATIENCE = 120     # seconds for any answer
MOST_LATE = 0.5    # seconds from "stop" to the move, on a machine that does other things
STOPS = 5


class Broken(Exception):
    """What the check has found."""


def expect(condition, what):
    if not condition:
        raise Broken(what)


def totals_of_tests():
    """The node totals that the tests hold: by the network and by hand."""
    text = (ROOT / "Tests" / "bench_test.cpp").read_text()
    return sorted(int(number) for number in re.findall(r"nodes= (\d+),", text))


def bench(*options):
    done = subprocess.run(["wine", PROGRAM, "-bench", "-d", "10", *options], check=True, text=True,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, timeout=PATIENCE)
    return int(re.search(r"nodes= (\d+)", done.stdout).group(1))


class Engine:
    """The engine, spoken to by pipes."""

    def __init__(self, folder):
        self.child = subprocess.Popen(["wine", PROGRAM], cwd=folder, text=True,
                                      encoding="utf-8", stdin=subprocess.PIPE,
                                      stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)

    def send(self, line):
        self.child.stdin.write(line + "\n")
        self.child.stdin.flush()

    def wait_for(self, start):
        lines = []
        for line in self.child.stdout:
            lines.append(line.rstrip("\n"))
            if line.startswith(start):
                return lines
        raise Broken(f"no {start}, but {lines[-3:]}")


def converse(folder):
    engine = Engine(folder)
    engine.send("uci")
    lines = engine.wait_for("uciok")
    expect("id name Mird 5.50" in lines, f"no name in {lines}")
    expect(not any("\r" in line for line in lines), "lines end by two characters")
    engine.send("position startpos moves e2e4")
    for _ in range(STOPS):
        engine.send("go infinite")
        engine.wait_for("info depth 5 ")
        begin = time.monotonic()
        engine.send("stop")
        engine.wait_for("bestmove")
        expect(time.monotonic() - begin < MOST_LATE, "an answer to \"stop\" comes late")
    engine.send("setoption name Threads value 4")
    engine.send("go movetime 300")
    engine.wait_for("bestmove")
    tables = ROOT / "Tests" / "data" / "syzygy"
    path = "Z:" + str(tables).replace("/", "\\")
    engine.send(f"setoption name SyzygyPath value C:\\nothing;{path}")
    found = engine.wait_for("info string found")[-1]
    expect(found != "info string found 0 tablebases", "no tables in two folders")
    engine.send("setoption name ConfigFilePath value größe.cfg")
    engine.wait_for("info string Contempt set to 7")
    engine.child.stdin.close()
    expect(engine.child.wait(timeout=PATIENCE) == 0, "the end of the input is no normal end")


def check():
    totals = sorted([bench(), bench("-use_hce")])
    expect(totals == totals_of_tests(), f"node totals are {totals}, not {totals_of_tests()}")
    with tempfile.TemporaryDirectory(prefix="mird-windows-") as name:
        folder = pathlib.Path(name)
        (folder / "größe.cfg").write_text("Contempt = 7\n", encoding="utf-8")
        converse(folder)


def main():
    missing = [tool for tool in TOOLS if not shutil.which(tool)]
    if missing:
        print(f"skipped: not installed: {' '.join(missing)}")
        return 77
    if not PROGRAM.exists() and "MIRD_CI" not in os.environ:
        print("skipped: the preset windows is not built")
        return 77
    for command in (["cmake", "--preset", "windows"], ["cmake", "--build", "--preset", "windows"]):
        subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    with tempfile.TemporaryDirectory(prefix="mird-wine-") as prefix:
        os.environ.update(WINEPREFIX=prefix, WINEDEBUG="-all", DISPLAY="")
        try:
            check()
        except (Broken, subprocess.SubprocessError) as broken:
            print(broken)
            return 1
        finally:
            subprocess.run(["wineserver", "-k"], check=False, stderr=subprocess.DEVNULL)
    return 0


if __name__ == "__main__":
    sys.exit(main())
