#!/usr/bin/env python3
"""Builds the engine for Windows and plays with it under Wine.

    check_windows.py

Builds with the preset "windows" if it was built before or MIRD_CI is set. The node totals are those
of the other builds, also where the main thread searches. A conversation by pipes goes as
everywhere: answers come at once, also from sixteen threads; the end of the input ends the program,
whoever closed it; names of files are UTF-8; tables are mapped. So does one by a console.

Exit status: 0 all well, 1 something is wrong, 77 a tool is missing or nothing was built yet.
"""

import os
import pathlib
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import tty

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAM = ROOT / "build" / "windows" / "mird.exe"
TOOLS = ["x86_64-w64-mingw32-g++-posix", "wine"]
PATIENCE = 120     # seconds for any answer
MOST_LATE = 0.5    # seconds from "stop" to the move, on a machine that does other things
STOPS = 5
SIXTEEN = 16       # threads
END_OF_INPUT = "\x1a"  # at the start of a console's line

# Starts a search of the program named by its arguments, prints the process's number and waits.
PARENT = """
import subprocess, sys
child = subprocess.Popen(sys.argv[1:], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
print("go infinite", file=child.stdin, flush=True)
while "info depth 5 " not in child.stdout.readline():
    pass
print(child.pid, flush=True)
sys.stdin.read()
"""


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
    done = subprocess.run(["wine", PROGRAM, *options, "-d", "10"], check=True, text=True,
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


def expect_stop(engine):
    """Lets the engine search without a limit and returns the seconds from "stop" to its move."""
    engine.send("go infinite")
    engine.wait_for("info depth 5 ")
    begin = time.monotonic()
    engine.send("stop")
    engine.wait_for("bestmove")
    return time.monotonic() - begin


def expect_tables(engine):
    tables = ROOT / "Tests" / "data" / "syzygy"
    path = "Z:" + str(tables).replace("/", "\\")
    engine.send(f"setoption name SyzygyPath value C:\\nothing;{path}")
    found = engine.wait_for("info string found")[-1]
    expect(found != "info string found 0 tablebases", "no tables in two folders")
    engine.send("position fen 6k1/8/8/8/8/8/1r6/K6Q w - - 0 1")
    engine.send("go depth 6")
    told = " ".join(engine.wait_for("bestmove"))
    expect(re.search(r"tbhits [1-9]", told), f"no table was read: {told}")


def converse(folder):
    engine = Engine(folder)
    engine.send("uci")
    lines = engine.wait_for("uciok")
    expect("id name Mird 5.50" in lines, f"no name in {lines}")
    expect(not any("\r" in line for line in lines), "lines end by two characters")
    engine.send("position startpos moves e2e4")
    waits = [expect_stop(engine) for _ in range(STOPS)]
    engine.send(f"setoption name Threads value {SIXTEEN}")
    many = [expect_stop(engine) for _ in range(STOPS)]
    print(f"stop to move: at most {max(waits):.3f} s, {SIXTEEN} threads {max(many):.3f} s")
    expect(max(waits + many) < MOST_LATE, "an answer to \"stop\" comes late")
    engine.send("setoption name Threads value 1")
    expect_tables(engine)
    engine.send("setoption name ConfigFilePath value größe.cfg")
    engine.wait_for("info string Contempt set to 7")
    engine.child.stdin.close()
    expect(engine.child.wait(timeout=PATIENCE) == 0, "the end of the input is no normal end")


def read_file(folder):
    """Commands from a file go as by a pipe."""
    (folder / "commands").write_text("uci\nposition startpos\ngo depth 5\nisready\n")
    with open(folder / "commands", encoding="utf-8") as commands:
        told = subprocess.run(["wine", PROGRAM], cwd=folder, check=True, text=True, stdin=commands,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              timeout=PATIENCE).stdout.splitlines()
    for word in ("uciok", "readyok", "bestmove"):
        expect(sum(line.startswith(word) for line in told) == 1, f"no {word} for a file: {told}")


def has_ended(process):
    """Whether a process, which may be nobody's child, runs no more."""
    try:
        state = pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()[0]
    except (FileNotFoundError, ProcessLookupError):
        return True
    return state in "ZX"


def kill_parent(folder):
    """What a dead parent leaves open ends the engine, amid a search without a limit."""
    parent = subprocess.Popen([sys.executable, "-c", PARENT, "wine", PROGRAM], cwd=folder,
                              text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL)
    engine = int(parent.stdout.readline())
    expect(not has_ended(engine), "there is no engine whose parent could be killed")
    parent.kill()
    parent.wait()
    end = time.monotonic() + PATIENCE
    while not has_ended(engine) and time.monotonic() < end:
        time.sleep(0.01)
    if not has_ended(engine):
        os.kill(engine, signal.SIGKILL)
        raise Broken("an engine lives on without its parent")


class Console:
    """The engine on a terminal, which Wine shows it as a console."""

    def __init__(self, folder):
        self.terminal, inside = pty.openpty()
        tty.setraw(inside)  # as Wine has it once the program listens
        self.child = subprocess.Popen(["wine", PROGRAM], cwd=folder, stdin=inside, stdout=inside,
                                      stderr=subprocess.DEVNULL, start_new_session=True)
        os.close(inside)

    def type(self, line):
        os.write(self.terminal, (line + "\r").encode())

    def wait_for(self, text):
        end = time.monotonic() + PATIENCE
        shown, plain = "", ""
        while text not in plain:
            expect(select.select([self.terminal], [], [], end - time.monotonic())[0],
                   f"no {text} on a console, but {plain[-80:]}")
            try:
                shown += os.read(self.terminal, 65536).decode(errors="replace")
            except OSError:  # nobody is at its other end
                raise Broken(f"ended on a console with status {self.child.wait(PATIENCE)} instead "
                             f"of {text}: {plain[-80:]}") from None
            # Blanks are steps of the cursor.
            plain = re.sub(r"\x1b\[[?0-9;]*[A-Za-z]", "", shown.replace("\x1b[1C", " "))


def type_on_console(folder):
    console = Console(folder)
    for line, answer in (("uci", "uciok"), ("go infinite", "info depth 3"), ("stop", "bestmove")):
        console.type(line)
        console.wait_for(answer)
    console.type(END_OF_INPUT)
    expect(console.child.wait(timeout=PATIENCE) == 0, "the end on a console is no normal end")


def check():
    totals = sorted([bench("-bench"), bench("-bench", "-use_hce")])
    expect(totals == totals_of_tests(), f"node totals are {totals}, not {totals_of_tests()}")
    expect(bench("-pbench") in totals, "the main thread searches other nodes")
    with tempfile.TemporaryDirectory(prefix="mird-windows-") as name:
        folder = pathlib.Path(name)
        (folder / "größe.cfg").write_text("Contempt = 7\n", encoding="utf-8")
        converse(folder)
        read_file(folder)
        kill_parent(folder)
        type_on_console(folder)


def main():
    missing = [tool for tool in TOOLS if not shutil.which(tool)]
    if missing:
        print(f"skipped: not installed: {' '.join(missing)}")
        return 77
    if not PROGRAM.exists() and "MIRD_CI" not in os.environ:
        print("skipped: the preset windows is not built")
        return 77
    build = ["cmake", "--build", "--preset", "windows", "--parallel", str(os.cpu_count())]
    for command in (["cmake", "--preset", "windows"], build):
        subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    with tempfile.TemporaryDirectory(prefix="mird-wine-") as prefix:
        os.environ.update(WINEPREFIX=prefix, WINEDEBUG="-all", DISPLAY="")
        try:
            # One server to the end: a program that begins as the last one's server ends has none.
            subprocess.run(["wineserver", "-p"], check=True)
            check()
        except (Broken, subprocess.SubprocessError) as broken:
            print(broken)
            return 1
        finally:
            subprocess.run(["wineserver", "-k"], check=False, stderr=subprocess.DEVNULL)
    return 0


if __name__ == "__main__":
    sys.exit(main())
