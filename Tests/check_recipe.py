#!/usr/bin/env python3
"""Makes a network by Training/recipe.py at its smallest scale, and looks at what it says.

    check_recipe.py BUILD

BUILD is the folder of the programs. Where they were built before, or with MIRD_CI set, they are
built as far as need be; otherwise that would take too long for a check. The run is ended behind a
step and begun again, and once more when it is done.

Exit status: 0 all well, 1 something is wrong, 77 the programs are not built.
"""

import csv
import os
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
RECIPE = ROOT / "Training" / "recipe.py"
PROGRAMS = ["selfplay", "plyconvert", "relabel", "train", "match"]
SCALE = "0.0002"
STEPS = ["openings", "games-0", "network-1", "games-1", "neighbours", "first-weights", "network-2",
         "games-2", "network-3", "games-3", "network-4", "games-4", "network-5", "games-5",
         "network-6", "games-6", "network", "gate"]


def steps_of(out):
    with open(out / "steps.csv", encoding="utf-8") as file:
        file.readline()
        return list(csv.DictReader(file))


def cook(out, build, *more):
    subprocess.run([sys.executable, RECIPE, out, "--scale", SCALE, "--build", build, *more],
                   check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)


def curve_of(network):
    with open(f"{network}.csv", encoding="ascii") as file:
        return [float(line["validation"]) for line in csv.DictReader(file)]


def wrong_steps(out):
    """What is wrong with a whole run, as a list of sentences."""
    wrong = []
    steps = steps_of(out)
    if [step["step"] for step in steps] != STEPS:
        wrong.append(f"the steps are {[step['step'] for step in steps]}")
    for name in (name for name in STEPS if name.startswith(("network", "first"))):
        curve = curve_of(out / f"{name}.bin")
        if not min(curve[1:]) < curve[0]:  # of so few games the last epochs learn by heart
            wrong.append(f"the loss of {name} goes from {curve[0]} to {curve[-1]}")
    losses = [float(step["result"].split()[1]) for step in steps
              if step["step"].startswith("network")]
    if max(losses) != losses[0] or not losses[-1] < losses[1]:
        wrong.append(f"losses don't fall with more games: {losses}")
    if "faults 0 and 0" not in steps[-1]["result"]:
        wrong.append(f"the match ended with {steps[-1]['result']}")
    return wrong


def wrong_refusals(out, build):
    """A folder of one scale takes no games of another."""
    before = (out / "steps.csv").read_text(encoding="utf-8")
    done = subprocess.run([sys.executable, RECIPE, out, "--scale", "0.5", "--build", build],
                          check=False, stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if done.returncode != 1 or "another scale" not in done.stderr:
        return [f"another scale: status {done.returncode}, {done.stderr}"]
    if (out / "steps.csv").read_text(encoding="utf-8") != before:
        return ["a refused run has changed steps.csv"]
    return []


def check(build):
    with tempfile.TemporaryDirectory(prefix="mird-recipe-") as folder:
        out = pathlib.Path(folder) / "out"
        cook(out, build, "--until", "games-1")
        early = steps_of(out)
        cook(out, build)
        wrong = wrong_steps(out)
        if steps_of(out)[:len(early)] != early:
            wrong.append("a step that was done was made again")
        whole = steps_of(out)
        cook(out, build)
        if steps_of(out) != whole:
            wrong.append("a run that was done went on")
        return wrong + wrong_refusals(out, build)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    build = pathlib.Path(sys.argv[1])
    if not (build / "Training" / "train").exists() and "MIRD_CI" not in os.environ:
        print("the training programs are not built")
        return 77
    subprocess.run(["cmake", "--build", build, "--parallel", "2", "--target", *PROGRAMS],
                   check=True, stdout=subprocess.DEVNULL)
    wrong = check(build)
    print(*wrong, sep="\n", end="\n" if wrong else "")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
