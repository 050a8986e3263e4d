#!/usr/bin/env python3
"""Makes a network from nothing: games, a network from them, games by that network, and so on.

    recipe.py OUT [--scale X] [--threads N] [--build DIR] [--until STEP]

All that is made stands in the folder OUT, in the end OUT/network.bin. The last step is a match of
that network against the one in the engine. --scale makes all sets of games so many times as large:
1 takes six hours of two processors, 0.001 two minutes. Programs are built as far as need be,
in build/release, or taken as they are from the folder of --build. --until ends behind a step.

A line of OUT/steps.csv tells what each step has made: positions, validation loss, checksum, Elo.
The same command goes on where the last one was broken off, in the middle of a step too.

Exit status: 0 all steps are done, 1 one has failed, 2 wrong command line.
"""

import argparse
import csv
import hashlib
import pathlib
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = ["mird", "selfplay", "plyconvert", "relabel", "train", "match"]
COLUMNS = ["step", "made", "result", "checksum", "seconds"]

WORKERS = 16  # of self-play, on any number of processors, since games belong to a worker
SELFPLAY = ["--nodes", "200", "--hash", "2", "--threads", WORKERS]

# Generations of games: seed and positions at scale 1. The first is by the hand-crafted evaluation,
# each further one by the network that was trained on all before it, and larger, since better games
# teach more; but the second, which teaches the first weights, wants to be large.
GENERATIONS = [(100, 6_000_000), (200, 20_000_000), (300, 16_000_000), (400, 28_000_000),
               (500, 40_000_000), (600, 48_000_000), (700, 44_000_000)]
LEAST_POSITIONS = 20_000

# Neighbours of the positions of the first generations, with static scores of the hand-crafted
# evaluation: for each position so many, by one to so many random moves. They tell of what games
# don't show, and are made ten times as fast. From the network that learns from them all later ones
# begin.
NEIGHBOURS = [(8, 4), (4, 3)]
FIRST_TRAIN = ["--epochs", 3, "--rate", 0.0015, "--last-rate", 0.1,
               "--lambda", 1, "--last-lambda", 1]

TRAIN = ["--rate", 0.0012, "--lambda", 1, "--last-lambda", 0.8]
STEP_TRAIN = ["--epochs", 6]                   # of the networks that play the games
LAST_TRAIN = ["--epochs", 12, "--power", 1.6]  # of the last one
BATCH, LEAST_BATCH = 4096, 256
BATCH_SCALE = 0.05  # below, batches shrink with the scale, or the epochs would have few steps

# The match begins from the first positions of games that are played for it alone.
OPENINGS = {"games": 3000, "least": 60, "seed": 50, "balanced": 50, "last_move": 6}
GATE = {"games": 2000, "least": 8, "nodes": 10000}


def run(command, log):
    """Runs a program, its messages going to a file as well as to standard error."""
    command = [str(word) for word in command]
    with open(log, "a", encoding="utf-8") as file:
        print(" ".join(command), file=file, flush=True)
        with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True) as child:
            for line in child.stdout:
                file.write(line)
                sys.stderr.write(line)
    if child.returncode != 0:
        sys.exit(f"{command[0]} failed with status {child.returncode}; see {log}")


def checksum(paths):
    """The first half of a SHA-256 over the bytes of files, in the order of their names."""
    total = hashlib.sha256()
    for path in sorted(paths):
        with open(path, "rb") as file:
            while block := file.read(1 << 20):
                total.update(block)
    return total.hexdigest()[:32]


def count_records(files):
    header, record = 256, 32  # bytes
    return sum((file.stat().st_size - header) // record for file in files)


class Recipe:
    """Where and how large: what all steps share."""

    def __init__(self, options):
        self.out = options.out
        self.scale = options.scale
        self.threads = options.threads
        self.build = options.build

    def program(self, name):
        return self.build / ("mird" if name == "mird" else f"Training/{name}")

    def log(self, name):
        return self.out / f"{name}.log"

    def scaled(self, number, least):
        return max(least, round(number * self.scale))

    def network(self, number):
        """The network that plays generation `number`."""
        return "hce" if number == 0 else self.out / f"network-{number}.bin"


def make_openings(recipe, name):
    """Balanced first positions of games that no other step uses."""
    folder = recipe.out / name
    games = recipe.scaled(OPENINGS["games"], OPENINGS["least"])
    run([recipe.program("selfplay"), "--out", folder, "--network", "hce", "--seed",
         OPENINGS["seed"], "--chess960", 0, "--games", games, *SELFPLAY], recipe.log(name))
    found = {}
    for path in sorted(folder.glob("*.ply")):
        text = path.with_suffix(".txt")
        run([recipe.program("plyconvert"), path, text], recipe.log(name))
        with open(text, encoding="ascii") as file:
            last = 0
            for line in file:
                fen, score, _ = line.split(" | ")
                number = int(fen.split()[5])
                if number < last or last == 0:  # a game's first record
                    if abs(int(score)) <= OPENINGS["balanced"] and number <= OPENINGS["last_move"]:
                        found[" ".join(fen.split()[:4])] = None
                last = number
        text.unlink()
    openings = recipe.out / "openings.epd"
    openings.write_text("".join(f"{position}\n" for position in found), encoding="ascii")
    return len(found), "", checksum([openings])


def make_games(recipe, name, generation):
    seed, positions = GENERATIONS[generation]
    positions = recipe.scaled(positions, LEAST_POSITIONS)
    run([recipe.program("selfplay"), "--out", recipe.out / name, "--network",
         recipe.network(generation), "--seed", seed, "--positions", positions, *SELFPLAY],
        recipe.log(name))
    files = list((recipe.out / name).glob("*.ply"))
    return count_records(files), "", checksum(files)


def make_neighbours(recipe, name):
    made = []
    for generation, (number, moves) in enumerate(NEIGHBOURS):
        folder = recipe.out / f"{name}-{generation}"
        folder.mkdir(exist_ok=True)
        for games in sorted((recipe.out / f"games-{generation}").glob("*.ply")):
            made.append(folder / games.name)
            if not made[-1].exists():
                run([recipe.program("relabel"), "--network", "hce", "--nodes", 0, "--neighbours",
                     number, "--steps", moves, "--threads", recipe.threads, games, made[-1]],
                    recipe.log(name))
    return count_records(made), "", checksum(made)


def train_network(recipe, name, data, options):
    network = recipe.out / f"{name}.bin"
    batch = BATCH * min(1, recipe.scale / BATCH_SCALE)
    batch = max(LEAST_BATCH, round(batch / 64) * 64)
    run([recipe.program("train"), "--out", network, "--resume", "--batch", batch, "--seed", 1,
         "--threads", recipe.threads, *options, *data], recipe.log(name))
    with open(f"{network}.csv", encoding="ascii") as file:
        curve = list(csv.DictReader(file))
    return len(curve), f"loss {curve[-1]['validation']}", checksum([network])


def train_first_weights(recipe, name):
    numbers = range(len(NEIGHBOURS))
    data = [recipe.out / f"{kind}-{number}" for kind in ("neighbours", "games")
            for number in numbers]
    return train_network(recipe, name, data, FIRST_TRAIN)


def train_on_games(recipe, name, generations, options):
    data = [recipe.out / f"games-{number}" for number in range(generations)]
    options = [*options, *TRAIN]
    if generations >= len(NEIGHBOURS):
        options += ["--from", recipe.out / "first-weights.bin"]
    return train_network(recipe, name, data, options)


def play_gate(recipe, name):
    """A match against the engine's own network, in as many parts as there are threads."""
    games = recipe.scaled(GATE["games"], GATE["least"]) // 2 * 2
    engine = recipe.program("mird")
    match = [recipe.program("match"), "--first", engine, "--first-options",
             f"NN_File={recipe.out.resolve() / 'network.bin'}", "--second", engine, "--options",
             "Hash=16", "--openings", recipe.out / "openings.epd", "--nodes", GATE["nodes"],
             "--games", games, "--shards", recipe.threads]
    parts = [recipe.out / f"{name}-{part}.games" for part in range(recipe.threads)]
    playing = [subprocess.Popen([str(word) for word in
                                 [*match, "--out", file, "--shard", part]],
                                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
               for part, file in enumerate(parts)]
    if any([child.wait() for child in playing]):
        sys.exit("the match failed")
    total = subprocess.run([recipe.program("match"), "--sum", *parts], check=True, text=True,
                           stdout=subprocess.PIPE).stdout.strip()
    return games, total.replace("\n", "; "), checksum(parts)


def steps_of(recipe):
    """Names of the steps, in order, and what makes them."""
    steps = [("openings", lambda name: make_openings(recipe, name))]
    last = len(GENERATIONS)
    for number in range(last):
        steps.append((f"games-{number}", lambda name, g=number: make_games(recipe, name, g)))
        if number + 1 == len(NEIGHBOURS):
            steps.append(("neighbours", lambda name: make_neighbours(recipe, name)))
            steps.append(("first-weights", lambda name: train_first_weights(recipe, name)))
        if number + 1 < last:
            steps.append((f"network-{number + 1}", lambda name, g=number:
                          train_on_games(recipe, name, g + 1, STEP_TRAIN)))
    steps.append(("network", lambda name: train_on_games(recipe, name, last, LAST_TRAIN)))
    steps.append(("gate", lambda name: play_gate(recipe, name)))
    return steps


def steps_done(recipe):
    """Steps that OUT/steps.csv tells of, as name: line. Refuses a folder of another scale."""
    path, settings = recipe.out / "steps.csv", f"# scale {recipe.scale:g}\n"
    if not path.exists():
        path.write_text(settings + ",".join(COLUMNS) + "\n", encoding="utf-8")
    with open(path, encoding="utf-8") as file:
        if file.readline() != settings:
            sys.exit(f"{path} is of another scale")
        return {line["step"]: line for line in csv.DictReader(file)}


def build_programs():
    for command in (["cmake", "--preset", "release"],
                    ["cmake", "--build", "--preset", "release", "--parallel", "2", "--target",
                     *PROGRAMS]):
        if subprocess.run(command, cwd=ROOT, check=False, stdout=sys.stderr).returncode != 0:
            sys.exit("the programs can't be built")


def read_options():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("out", type=pathlib.Path, help="folder of all that is made")
    parser.add_argument("--scale", type=float, default=1.0, help="size of all sets of games [1]")
    parser.add_argument("--threads", type=int, default=2, help="of training and match [2]")
    parser.add_argument("--build", type=pathlib.Path, help="folder of programs that are built")
    parser.add_argument("--until", help="name of the last step to make")
    options = parser.parse_args()
    if not 0 < options.scale <= 100 or not 1 <= options.threads <= 64:
        parser.error("scale or threads out of range")
    return options


def main():
    options = read_options()
    if options.build is None:
        build_programs()
        options.build = ROOT / "build" / "release"
    options.out.mkdir(parents=True, exist_ok=True)
    recipe = Recipe(options)
    done = steps_done(recipe)
    for name, make in steps_of(recipe):
        if name not in done:
            begun = time.monotonic()
            made, result, digest = make(name)
            line = {"step": name, "made": made, "result": result, "checksum": digest,
                    "seconds": round(time.monotonic() - begun)}
            with open(recipe.out / "steps.csv", "a", encoding="utf-8", newline="") as file:
                csv.DictWriter(file, COLUMNS, lineterminator="\n").writerow(line)
            done[name] = line
        print(*(str(done[name][column]) for column in COLUMNS), sep="  ", flush=True)
        if name == options.until:
            break
    return 0


if __name__ == "__main__":
    sys.exit(main())
