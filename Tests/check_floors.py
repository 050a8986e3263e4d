#!/usr/bin/env python3
"""Checks that Source/ is built in floors: each folder uses the folders below it, none above.

    check_floors.py                    the #include lines
    check_floors.py NM LIBRARY...      the symbols of the built libraries too; NM lists them

Without uses that go up there is no circle of calls across folders either. Calls through a pointer
that a higher floor has set are not seen, and are meant to be the way out.

Exit status: 0 all well, 1 something goes up.
"""

import collections
import pathlib
import re
import subprocess
import sys

# From the ground up. A file that is named stands apart from its folder. Training/ and Tests/ are
# above all and may use everything.
FLOORS = [
    ("base", ["base"]),
    ("board", ["board"]),
    ("syzygy", ["syzygy"]),
    # Records without code, which the evaluation fills in and the search passes around.
    ("records", ["search/thread.h", "eval/state.h"]),
    ("eval", ["eval"]),
    ("search", ["search"]),
    ("book", ["book"]),
    ("shell", ["shell"]),
    ("tools", ["tools"]),
    # The only files that know every job of the program.
    ("entry", ["shell/start.h", "shell/start.cpp", "shell/arguments.h", "shell/arguments.cpp",
               "shell/main.cpp", "shell/main_uci.cpp"]),
]

# Includes that go up all the same: (file, included file).
ALLOWED = set()

# The same for symbols: (file, symbol).
ALLOWED_SYMBOLS = set()

ROOT = pathlib.Path(__file__).resolve().parent.parent
SOURCE = ROOT / "Source"
RANK = {place: rank for rank, (_, places) in enumerate(FLOORS) for place in places}
NAMES = [name for name, _ in FLOORS]


def rank_of(path):
    """The floor of a file given from Source/ on ("eval/nn.h"), counted from 0; None: no floor."""
    return RANK.get(path, RANK.get(path.split("/")[0]))


def upward_includes():
    """Messages for all #include lines that go up or nowhere."""
    messages = []
    used = set()
    for file in sorted(SOURCE.rglob("*")):
        if file.suffix not in (".h", ".cpp"):
            continue
        path = file.relative_to(SOURCE).as_posix()
        rank = rank_of(path)
        if rank is None:
            messages.append(f"Source/{path}: stands on no floor; name it in {sys.argv[0]}")
            continue
        for number, line in enumerate(file.read_text().splitlines(), 1):
            found = re.match(r'\s*#\s*include\s*"([^"]+)"', line)
            if not found:
                continue
            target = found[1]
            at = f"Source/{path}:{number}"
            if not (SOURCE / target).is_file():
                messages.append(f"{at}: {target} is no file of Source/, named from there on")
            elif rank_of(target) is None or rank_of(target) <= rank:
                continue
            elif (path, target) in ALLOWED:
                used.add((path, target))
            else:
                messages.append(f"{at}: {NAMES[rank]} includes {target}, which is above it on "
                                f"the floor {NAMES[rank_of(target)]}")
    for path, target in sorted(ALLOWED - used):
        messages.append(f"{sys.argv[0]}: Source/{path} no longer includes {target}; "
                        "take it from the list of what is allowed")
    return messages


def symbols_of(nm, library):
    """Two lists of (object file, symbol): what a library defines, and what it uses."""
    listing = subprocess.run([nm, "-C", library], check=True, capture_output=True,
                             text=True).stdout
    defined, used = [], []
    member = "?"
    for line in listing.splitlines():
        if re.match(r"\S+\.(o|obj):$", line):
            member = re.sub(r"\.(o|obj):$", "", line)
            continue
        found = re.match(r"[0-9a-fA-F ]*\s([A-Za-z])\s(.+)$", line)
        if not found:
            continue
        kind, symbol = found.groups()
        if kind == "U":
            used.append((member, symbol))
        elif kind in "TDBRCS":  # weak ones are inline functions, and at home everywhere
            defined.append((member, symbol))
    return defined, used


def upward_symbols(nm, libraries):
    """Messages for all symbols that a library uses from one that stands behind it in the list."""
    messages = []
    tables = [symbols_of(nm, library) for library in libraries]
    home = collections.defaultdict(set)
    for rank, (defined, _) in enumerate(tables):
        for member, symbol in defined:
            home[symbol].add((rank, member))
    if not all(defined for defined, _ in tables):
        messages.append(f"{nm} finds no symbols in one of the libraries")
    for rank, (_, used) in enumerate(tables):
        for member, symbol in sorted(set(used)):
            above = {place for place in home[symbol] if place[0] > rank}
            if not above or any(place[0] <= rank for place in home[symbol]):
                continue
            if (member, symbol) in ALLOWED_SYMBOLS:
                continue
            other, owner = min(above)
            messages.append(f"{pathlib.Path(libraries[rank]).name}({member}) uses {symbol} of "
                            f"{pathlib.Path(libraries[other]).name}({owner}), which is above it")
    return messages


def main():
    messages = upward_includes()
    if len(sys.argv) > 2:
        messages += upward_symbols(sys.argv[1], sys.argv[2:])
    for message in messages:
        print(message)
    return 1 if messages else 0


if __name__ == "__main__":
    sys.exit(main())
