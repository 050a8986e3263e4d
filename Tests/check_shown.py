#!/usr/bin/env python3
"""Compares the conversations shown in README.md and the other pages with what the program prints.

    check_shown.py PROGRAM [PAGE...]    without pages: README.md, CONTRIBUTING.md and Docs/*.md

A conversation is an indented block that begins with a line "$ COMMAND", where the command calls
./run.sh, mird or mird-uci; here the built program stands for all of them. All commands of a page
are run one behind the other in a folder that is empty at first, and what each prints must be what
its block shows:

- "..." alone on a line stands for any number of lines, none included.
- Figures of time and speed, which differ from run to run, match each other; see MASKS.
- Blanks at the end of a line don't count.

A block of "$ cat FILE" shows a file that a command behind it reads, and makes it; but a file that
a command has written is compared like all that is printed.

Exit status: 0 all well, 1 some page shows what the program doesn't print.
"""

import os
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
    (r"^(pos +[0-9]+:) +[0-9.]+ seconds", r"\1 # seconds"),
    (r"\b(node_rate= *)[0-9]+", r"\1#"),
    # Of `--version`: compiler and processor.
    (r"^(build|vector instructions): .*", r"\1: #"),
]
CALL = re.compile(r"\./run\.sh|(^|[|;&] *)mird(-uci)?\b|^cat \S+$")


def blocks_of(page):
    """The conversations of a page: (number of the first line, command, lines shown)."""
    blocks = []
    current = None
    for number, line in enumerate(page.read_text().splitlines(), 1):
        if line.startswith("    $ "):
            current = (number, line[6:], []) if CALL.search(line[6:]) else None
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


def call(command, folder):
    run = subprocess.run(["sh", "-c", command.replace("./run.sh", "mird")], cwd=folder / "work",
                         env=dict(os.environ, PATH=f"{folder}:{os.environ['PATH']}"),
                         stdout=subprocess.PIPE, text=True, timeout=SECONDS, check=False)
    return run.stdout.splitlines()


def faults_of(page, program):
    """The conversations of a page, by number and command, with what is wrong with them or None."""
    with tempfile.TemporaryDirectory(prefix="mird-shown-") as name:
        folder = pathlib.Path(name)
        (folder / "work").mkdir()
        (folder / "mird").symlink_to(program)
        (folder / "mird-uci").symlink_to(program.with_name("mird-uci"))
        for number, command, shown in blocks_of(page):
            file = folder / "work" / command.split()[-1]
            if command.startswith("cat ") and not file.exists():
                file.write_text("".join(f"{line}\n" for line in shown))
                continue
            yield number, command, difference(shown, call(command, folder))


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
        for number, command, text in faults_of(page, program):
            count += 1
            if text:
                failed = True
                print(f"{page}:{number}: $ {command}\n  {text}")
    if count == 0:
        print("no page shows a conversation")
        failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
