#!/usr/bin/env python3
"""Checks that the guides tell of all that the program knows.

    check_told.py PROGRAM

- Each word of `PROGRAM --help`, and each that the program takes without showing it there, stands
  in Docs/command-line.md and on the page of the manual, Packages/mird.6.
- Each option that `uci` lists stands in Docs/options.md, with the range and the default that are
  listed. Where these depend on the machine or the directory they are not looked at.
- Each command of the console stands in Docs/console.md.
- The link of each page leads to a file, and to a heading where it names one.

Exit status: 0 all well, 1 something is not told.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCS = ROOT / "Docs"
# Values that only one machine has: its own strength.
OF_THE_MACHINE = {"UCI_Elo"}


def said_by(program, arguments, text=""):
    done = subprocess.run([program, *arguments], input=text, check=False, capture_output=True,
                          text=True, timeout=60, cwd="/")
    return done.stdout.splitlines()


def words_of_source():
    """The words that the program takes on its command line: names of the table behind --help."""
    source = (ROOT / "Source" / "shell" / "help.cpp").read_text()
    return re.findall(r'^    \{"(-?-?[a-z]\w*)",', source, re.MULTILINE)


def untold_words(program):
    shown = {word for line in said_by(program, ["--help"])
             for word in re.findall(r"^  (-?-?[a-z]\w*)", line)}
    words = words_of_source()
    wrong = [f"--help shows {word}, which nobody knows" for word in shown - set(words)]
    guide = (DOCS / "command-line.md").read_text()
    manual = (ROOT / "Packages" / "mird.6").read_text().replace("\\-", "-")
    # Jobs of a build that is no more are not for the manual.
    gone = {word for word in words if word.startswith(("-tune", "-mktraindata"))}
    for word in words:
        if f"`{word}" not in guide:
            wrong.append(f"Docs/command-line.md does not tell of {word}")
        if word not in gone and not re.search(rf"(?<![\w-]){re.escape(word)}(?!\w)", manual):
            wrong.append(f"the manual does not tell of {word}")
    return wrong


def untold_options(program):
    rows = {}
    for line in (DOCS / "options.md").read_text().splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if len(cells) == 6 and cells[0].startswith("`"):
            rows[cells[0].strip("`")] = cells[1:]
    wrong = []
    for line in said_by(program, [], "uci\nquit\n"):
        found = re.match(r"option name (\S+) type (\w+)(?: default (\S*))?(?: min (\S+) max (\S+))?",
                         line)
        if not found:
            continue
        name, kind, default, least, most = found.groups()
        if name not in rows:
            wrong.append(f"Docs/options.md does not tell of {name}")
            continue
        told_kind, told_range, told_default = rows[name][:3]
        if told_kind != {"string": "text"}.get(kind, kind):
            wrong.append(f"{name} is a {kind}, not a {told_kind}")
        if kind == "spin" and name not in OF_THE_MACHINE:
            # The listing of `Threads` begins behind the 0 that it takes.
            if told_range.split(" to ")[1] != most or told_default != default:
                wrong.append(f"{name} is listed as {default}, {least} to {most}")
        if kind == "check" and told_default != default:
            wrong.append(f"{name} is {default}")
    return wrong


def untold_commands():
    guide = (DOCS / "console.md").read_text()
    source = (ROOT / "Source" / "shell" / "console.cpp").read_text()
    words = re.findall(r'\bis(?:_word)?\((?:\w+, )?"([^"]+)"\)', source)
    return [f"Docs/console.md does not tell of {word}" for word in words
            if f"`{word}" not in guide and f"`set {word}" not in guide]


def anchors_of(page):
    """The names of headings, as a page of Markdown is shown with them."""
    names = set()
    for line in page.read_text().splitlines():
        if line.startswith("#"):
            name = re.sub(r"[^\w\- ]", "", line.lstrip("# ").lower())
            names.add(name.strip().replace(" ", "-"))
    return names


def dead_links():
    wrong = []
    for page in [*ROOT.glob("*.md"), *DOCS.glob("*.md"), *ROOT.glob("Training/*.md")]:
        for target in re.findall(r"\]\(([^)\s]+)\)", page.read_text()):
            if re.match(r"[a-z]+:", target):
                continue
            name, _, anchor = target.partition("#")
            file = (page.parent / name).resolve() if name else page
            if not file.exists():
                wrong.append(f"{page.relative_to(ROOT)} links {target}, which is not there")
            elif anchor and anchor not in anchors_of(file):
                wrong.append(f"{page.relative_to(ROOT)} links {target}, which is no heading")
    return wrong


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    program = sys.argv[1]
    wrong = [*untold_words(program), *untold_options(program), *untold_commands(),
             *dead_links()]
    print(*wrong, sep="\n", end="\n" if wrong else "")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
