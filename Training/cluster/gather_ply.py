#!/usr/bin/env python3
"""Gathers data files of shards in one folder, each under its own name.

    gather_ply.py OUT FILE|FOLDER...    a folder stands for its *.ply files, at least one

The files are linked, so that no room is taken and a shard that goes on later needs no gathering
again. Two files of one seed hold the same games, and would count them twice: nothing is linked then
and the two are named. What is in OUT already counts as well.

Exit status: 0 all well, 1 nothing was gathered.
"""

import os
import pathlib
import struct
import sys


def seed_of(path):
    """The seed in the header of a data file; its place is the same in all forms of the header."""
    with open(path, "rb") as file:
        head = file.read(16)
    if len(head) < 16 or not head.startswith(b"MIRDPLY"):
        raise ValueError(f"{path} is no data file")
    return struct.unpack("<I", head[12:])[0]


def files_of(name):
    path = pathlib.Path(name)
    if not path.is_dir():
        return [path]
    files = sorted(path.glob("*.ply"))
    if not files:
        raise ValueError(f"no data files in {path}")
    return files


def gather(out, names):
    """Links the files; returns their number. Raises ValueError if they don't fit together."""
    new = [file for name in names for file in files_of(name)]
    holders = {}  # seed: file
    for path in [*sorted(out.glob("*.ply")), *new]:
        holder = holders.setdefault(seed_of(path), path)
        if not os.path.samefile(holder, path):
            raise ValueError(f"{holder} and {path} are of one seed")
    for path in new:
        target = out / path.name
        if not target.exists():
            os.link(path, target)
        elif not os.path.samefile(target, path):
            raise ValueError(f"{target} is another file than {path}")
    return len(new)


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    try:
        count = gather(pathlib.Path(sys.argv[1]), sys.argv[2:])
    except (OSError, ValueError) as error:
        print(error, file=sys.stderr)
        return 1
    print(f"{count} files in {sys.argv[1]}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
