#!/usr/bin/env python3
"""Compares the conversations shown in README.md and the other pages with what the program prints.

    check_shown.py PROGRAM [PAGE...]    without pages: README.md, CONTRIBUTING.md and Docs/*.md

A conversation is an indented block that begins with a line "$ COMMAND", where the command calls
./run.sh; here the built program stands for that. The command is run in an empty folder, and what
it prints must be what the block shows:

- "..." alone on a line stands for any number of lines, none included.
- Figures of time and speed, which differ from run to run, match each other; see MASKS.
- Blanks at the end of a line don't count.

Exit status: 0 all well, 1 some page shows what the program doesn't print.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
SECONDS = 60  # for one command

# What differs from run to run, and what it is compared as.
MASKS = [
    (r"\b(et= *|time= *|time )[0-9.]+", r"\1#"),
    (r"\b(nps= *|nps )[0-9.]+[KM]?", r"\1#"),
    (r"\bin [0-9.]+ seconds", "in # seconds"),
    (r"\b[0-9]+ nps$", "# nps"),
    # Depth and time of a console's search line: "00] 08.   0.0      38K   -18  e7e6".
    (r"^(\d\d\] [0-9]+\.?) +[0-9.]+ +", r"\1 # "),
]


def blocks_of(page):
    """The conversations of a page: (number of the first line, command, lines shown)."""
    blocks = []
    current = None
    for number, line in enumerate(page.read_text().splitlines(), 1):
        if line.startswith("    $ "):
            current = (number, line[6:], []) if "./run.sh" in line else None
            if current:
                blocks.append(current)
        elif current and line.startswith("    "):
            current[2].append(line[4:])
        else:
            current = None
    return blocks


def masked(line):
    for pattern, instead in MASKS:
        line = re.sub(pattern, instead, line)
    return line.rstrip()


def printed_by(command, program):
    with tempfile.TemporaryDirectory(prefix="mird-shown-") as folder:
        run = subprocess.run(["sh", "-c", command.replace("./run.sh", f'"{program}"')], cwd=folder,
                             stdout=subprocess.PIPE, text=True, timeout=SECONDS, check=False)
    return run.stdout.splitlines()


def same_lines(a, b):
    """How many lines two texts have in common from the start."""
    return next((i for i, (x, y) in enumerate(zip(a, b)) if x != y), min(len(a), len(b)))


def difference(shown, printed):
    """Tells how a block differs from what was printed; None if it doesn't."""
    printed = [masked(line) for line in printed]
    at, anywhere = 0, False  # where the next lines stand, or behind which place
    run = []                # the lines shown since the last "...", which must stand together
    for line in shown + [None]:
        if line is not None and line.strip() != "...":
            run.append(masked(line))
            continue
        if line is None and anywhere and run:
            at = max(at, len(printed) - len(run))  # the last lines shown are the last ones printed
        places = range(at, len(printed) + 1) if anywhere else [at]
        place = max(places, key=lambda place: same_lines(run, printed[place:])) if run else at
        same = same_lines(run, printed[place:])
        if same < len(run):
            found = printed[place + same:place + same + 1] if same or not anywhere else []
            return (f"shown:   {run[same]}\n"
                    f"  printed: {found[0] if found else '(no such line)'}")
        at, run, anywhere = place + len(run), [], True
    if at < len(printed) and (not shown or shown[-1].strip() != "..."):
        return f"shown:   (no more lines)\n  printed: {printed[at]}"
    return None


def main():
    program = pathlib.Path(sys.argv[1]).resolve()
    pages = [pathlib.Path(name) for name in sys.argv[2:]]
    if not pages:
        pages = [ROOT / "README.md", ROOT / "CONTRIBUTING.md", *sorted(ROOT.glob("Docs/*.md"))]
    count, failed = 0, False
    for page in pages:
        if not page.exists():
            continue
        for number, command, shown in blocks_of(page):
            count += 1
            text = difference(shown, printed_by(command, program))
            if text:
                failed = True
                print(f"{page}:{number}: $ {command}\n  {text}")
    if count == 0:
        print("no page shows a conversation")
        failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
