#!/usr/bin/env python3
"""Runs of hours, each with its check.

    long_runs.py [options] RUN...

    stop       20,000 searches with 1 to 32 threads on a table of a megabyte, each stopped at some
               moment and answered with just one legal move
    newgame    10,000 new games, with memory and handles constant
    books      100,000 probes of a book, likewise
    analysis   two hours of analysis with two threads, likewise
    games      1,000 games of the engine with itself at 1 second and 0.02 a move, 300 each at 5 and
               0.05, at 20 seconds for 40 moves and at 10 seconds for the game, without one that is
               lost on time, by an illegal move or by silence
    all        all of them, one behind the other

    --share X     does this part of each run only: 0.001 is a try
    --seed N      of the random numbers (1)
    --engine FILE, --match FILE   the programs (those of build/release)
    --jobs N      games at a time (half the processors); each game takes one

Prints a line for each run. Exit status: 0 all well, 1 a check has failed, 2 a program is missing.
"""

import argparse
import concurrent.futures
import os
import pathlib
import queue
import random
import re
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
PATIENCE = 120  # seconds for any answer
GROWTH_KB = 2048  # that memory may grow by over a run, for the system's own buffers

POSITIONS = [
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "r2q1rk1/ppp2ppp/2n1bn2/2b1p3/3pP3/3P1NPP/PPPNQPB1/R1B2RK1 b - - 3 10",
    "7k/8/8/8/8/8/1q6/K7 w - - 0 1",
    "8/8/4k3/8/4P3/4K3/8/8 w - - 0 1",
]
SEARCHES = ["go infinite", "go depth 30", "go ponder wtime 5000 btime 5000",
            "go wtime 60000 btime 60000", "go movetime 20000", "go nodes 100000000"]
TIME_CONTROLS = [  # games, seconds, what else match is told
    (1000, 1, ["--increment", "0.02"]),
    (300, 5, ["--increment", "0.05"]),
    (300, 20, ["--moves", "40"]),
    (300, 10, []),
]


class CheckFailed(Exception):
    """What a run has found."""


def check(holds, text):
    if not holds:
        raise CheckFailed(text)


class Engine:
    """The program in a working directory of its own."""

    def __init__(self, options, *arguments):
        self.place = tempfile.TemporaryDirectory()
        self.process = subprocess.Popen([options.engine, *arguments], cwd=self.place.name,
                                        text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        bufsize=1)
        self.lines = queue.Queue()
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        for line in self.process.stdout:
            self.lines.put(line.rstrip("\n"))
        self.lines.put(None)

    def send(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def wait_for(self, start):
        """All lines up to the first that begins so, which is the last of them."""
        found = []
        end = time.monotonic() + PATIENCE
        while not found or not found[-1].startswith(start):
            try:
                line = self.lines.get(timeout=max(0.0, end - time.monotonic()))
            except queue.Empty:
                line = None
            check(line is not None, f"no line '{start}'; the last ones: {found[-5:]}")
            found.append(line)
        return found

    def is_ready(self):
        self.send("isready")
        return self.wait_for("readyok")

    def close(self):
        self.send("quit")
        check(self.process.wait(PATIENCE) == 0, f"exit status {self.process.returncode}")
        self.place.cleanup()

    def memory_kb(self):
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(r"VmRSS:\s+(\d+)", status)[1])

    def handles(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))


def legal_moves(engine, fen):
    """The root moves that the engine lists when it is asked for all lines; they are known to be
    the legal ones from the counts of the perft tests."""
    engine.send("setoption name MultiPV value 255")
    engine.send(f"position fen {fen}")
    engine.send("go depth 1")
    lines = engine.wait_for("bestmove")
    engine.send("setoption name MultiPV value 1")
    engine.send("ucinewgame")
    engine.is_ready()
    moves = {found[1] for line in lines if (found := re.search(r" pv (\S+)", line))}
    return moves or {lines[-1].split()[1]}


def run_stop(options):
    pairs = max(10, int(20000 * options.share))
    rng = random.Random(options.seed)
    engine = Engine(options, "-hash", "1")
    legal = {fen: legal_moves(engine, fen) for fen in POSITIONS}
    start = time.monotonic()
    for pair in range(pairs):
        if pair % 10 == 0:
            engine.send(f"setoption name Threads value {rng.randint(1, 32)}")
        fen, search = rng.choice(POSITIONS), rng.choice(SEARCHES)
        engine.send(f"position fen {fen}")
        engine.send(search)
        time.sleep(rng.choice((0, 0, 0.001, 0.02, 0.05)) * rng.random())
        engine.send("stop")
        best = engine.wait_for("bestmove")[-1].split()
        told = f"pair {pair}: '{search}' in {fen}"
        check(best[1] in legal[fen], f"{told} is answered by {best}")
        check(not any(line.startswith("bestmove") for line in engine.is_ready()),
              f"{told} is answered twice")
    engine.close()
    return f"{pairs} searches stopped in {time.monotonic() - start:.0f} s"


def constant_under(engine, work, count):
    """Does some work `count` times, after a tenth of it to warm up, and checks what stays."""
    for _ in range(max(2, count // 10)):
        work()
    memory, handles = engine.memory_kb(), engine.handles()
    for _ in range(count):
        work()
    grown = engine.memory_kb() - memory
    check(grown <= GROWTH_KB, f"memory has grown by {grown} kB from {memory} kB")
    check(engine.handles() == handles, f"{handles} handles have become {engine.handles()}")
    return f"memory {memory} kB {grown:+d}, {handles} handles"


def run_newgame(options):
    games = max(5, int(10000 * options.share))
    engine = Engine(options, "-hash", "16", "-threads", "2")

    def game():
        engine.send("ucinewgame")
        engine.send("position startpos moves e2e4")
        engine.send("go depth 2")
        engine.wait_for("bestmove")

    text = constant_under(engine, game, games)
    engine.close()
    return f"{games} new games, {text}"


def run_books(options):
    probes = max(20, int(100000 * options.share))
    engine = Engine(options, "-c", "-hash", "1", "-book", "book.bin")
    # e2e4 and d2d4 from the start position.
    key = bytes.fromhex("463b96181691fc9c")
    (pathlib.Path(engine.place.name) / "book.bin").write_bytes(b"".join(
        key + move.to_bytes(2, "big") + b"\0\2" + bytes(4) for move in (796, 731)))

    def probe():
        engine.send("book")
        check(any("cnt=" in line for line in engine.wait_for("selecting")), "no move of the book")

    engine.send("new")
    text = constant_under(engine, probe, probes)
    engine.close()
    return f"{probes} probes, {text}"


def run_analysis(options):
    seconds = max(5, int(7200 * options.share))
    engine = Engine(options, "-hash", "64", "-threads", "2")
    engine.send(f"position fen {POSITIONS[1]}")
    engine.send("go infinite")

    def wait():
        time.sleep(1)
        while not engine.lines.empty():
            check(engine.lines.get() is not None, "the analysis has ended")

    text = constant_under(engine, wait, seconds)
    engine.send("stop")
    engine.wait_for("bestmove")
    engine.close()
    return f"{seconds} seconds of analysis, {text}"


def openings(folder, seed):
    """A file of starts: one pawn of either side has moved one or two squares."""
    lines = []
    for white, black in random.Random(seed).sample([(w, b) for w in range(16) for b in range(16)], 40):
        board = [list("rnbqkbnr"), list("pppppppp"), *(list("11111111") for _ in range(4)),
                 list("PPPPPPPP"), list("RNBQKBNR")]
        for pawn, start, way in ((white, 6, -1), (black, 1, 1)):
            board[start + way * (1 + pawn // 8)][pawn % 8] = board[start][pawn % 8]
            board[start][pawn % 8] = "1"
        ranks = [re.sub("1+", lambda run: str(len(run[0])), "".join(rank)) for rank in board]
        lines.append("/".join(ranks) + " w KQkq -\n")
    path = pathlib.Path(folder) / "openings.epd"
    path.write_text("".join(lines))
    return path


def play_shard(options, folder, file, games, seconds, arguments, shard):
    out = pathlib.Path(folder) / f"{seconds}-{shard}.games"
    run = subprocess.run([options.match, "--first", options.engine, "--second", options.engine,
                          "--options", "Hash=16", "--openings", file, "--seconds", str(seconds),
                          *arguments, "--games", str(games), "--seed", str(options.seed),
                          "--shard", str(shard), "--shards", str(options.jobs), "--out", out],
                         cwd=folder, capture_output=True, text=True, check=False)
    check(run.returncode == 0, f"match: {run.stderr.strip()[-300:]}")
    return [line for line in out.read_text().splitlines()
            if line.split()[-1:] and re.search(r"\b(time|illegal|silent)\b", line)]


def run_games(options):
    told = []
    for games, seconds, arguments in TIME_CONTROLS:
        games = max(2 * options.jobs, int(games * options.share) // 2 * 2)
        with tempfile.TemporaryDirectory() as folder:
            file = openings(folder, options.seed)
            with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
                faults = sum(pool.map(lambda shard: play_shard(options, folder, file, games, seconds,
                                                               arguments, shard),
                                      range(options.jobs)), [])
        control = " ".join([str(seconds), *arguments])
        check(not faults, f"{control}: {len(faults)} faults in {games} games: {faults[:3]}")
        told.append(f"{games} at {control}")
    return "games without a fault: " + ", ".join(told)


RUNS = {"stop": run_stop, "newgame": run_newgame, "books": run_books, "analysis": run_analysis,
        "games": run_games}


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("runs", nargs="+", choices=[*RUNS, "all"])
    parser.add_argument("--share", type=float, default=1.0)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=max(1, os.cpu_count() // 2))
    parser.add_argument("--engine", default=str(ROOT / "build" / "release" / "mird"))
    parser.add_argument("--match", default=str(ROOT / "build" / "release" / "Training" / "match"))
    options = parser.parse_args()
    for name in ("engine", "match"):
        program = os.path.abspath(getattr(options, name))
        setattr(options, name, program)
        if not os.access(program, os.X_OK):
            print(f"not built: {program}")
            return 2

    well = True
    for name in RUNS if "all" in options.runs else options.runs:
        try:
            print(f"{name}: {RUNS[name](options)}", flush=True)
        except CheckFailed as found:
            well = False
            print(f"{name}: FAILED, {found}", flush=True)
    return 0 if well else 1


if __name__ == "__main__":
    sys.exit(main())
