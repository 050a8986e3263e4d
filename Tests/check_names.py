#!/usr/bin/env python3
"""Checks that Docs/where.md, Docs/protocol.md and CONTRIBUTING.md name only what there is.

    check_names.py [PAGE...]

In the text of a page,

- a path in backticks is a file or a folder, named from Source/ or from the root on; the ending of a
  header and its source may be left out;
- a word in backticks is a word of the source, the tests or the training programs;
- where a name stands "in" or "of" a file, it is a word of that file;
- a block of C++ that a line with a path and a colon announces stands in that file as it is shown.

Exit status: 0 all well, 1 a page names something else.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGES = ["Docs/where.md", "Docs/protocol.md", "CONTRIBUTING.md"]
CODE = (".h", ".cpp", ".S", ".txt", ".cmake", ".py", ".sh")


def files_named(path):
    """The files and folders that a page means by a path; none if there are none."""
    found = []
    for start in (ROOT / "Source", ROOT):
        for ending in ("", ".h", ".cpp"):
            if (start / (path + ending)).exists():
                found.append(start / (path + ending))
    return found


def words_of(files):
    return {word for file in files for word in re.findall(r"\w+", file.read_text(errors="replace"))}


def words_of_project():
    files = [file for folder in ("Source", "Tests", "Training")
             for file in (ROOT / folder).rglob("*") if file.suffix in CODE]
    return words_of(files + [ROOT / "CMakeLists.txt", ROOT / "CMakePresets.json"])


def wrong_names(text, known):
    """Messages for paths and words of a text that lead nowhere."""
    for name in re.findall(r"`([^`]+)`", text):
        if re.fullmatch(r"[\w.-]+(/[\w.-]*)+", name):
            # What a build has made is no part of the source.
            if not name.startswith("build/") and not files_named(name):
                yield f"no file {name}"
        elif re.fullmatch(r"[A-Za-z_]\w*", name) and name not in known:
            yield f"no name {name}"


def wrong_places(text):
    """Messages for names that don't stand in the file they are said to stand in."""
    for name, path in re.findall(r"`(\w+)`(?: \([^)]*\))?,? (?:in|of) `([\w./]+/[\w./]+)`", text):
        files = [file for file in files_named(path) if file.is_file()]
        if files and name not in words_of(files):
            yield f"no {name} in {path}"


def wrong_blocks(page):
    """Messages for blocks of C++ that differ from the file they are said to come from."""
    for path, block in re.findall(r"`([\w./]+)`:\n\n```cpp\n(.*?)```", page, re.DOTALL):
        files = [file for file in files_named(path) if file.is_file()]
        if not any(block in file.read_text() for file in files):
            yield f"{path} has no such lines: {block.splitlines()[0]} ..."


def main():
    known = words_of_project()
    failed = False
    for name in sys.argv[1:] or PAGES:
        page = (ROOT / name).read_text()
        # Names go on from line to line; what is shown as code has names of its own.
        text = re.sub(r"```.*?```", "", page, flags=re.DOTALL)
        text = re.sub(r"\s+", " ", text)
        for message in (*wrong_names(text, known), *wrong_places(text), *wrong_blocks(page)):
            print(f"{name}: {message}")
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
