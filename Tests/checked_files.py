"""What check_tidy.py and check_includes.py share: one run of a tool for each file, but only for
files that have changed since the tool found nothing in them.

Whether a file is known is decided by its own text, the texts of all files of ours that it
includes, and the tool: an entry of the list of known ones is a digest of these.
"""

import hashlib
import os
import pathlib
import re
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)

# Outside a full run, seconds after which no further file is begun.
SHORT_RUN = 15

# A full run looks at what so many commits have changed: all files take ten minutes of a processor,
# and what is older was looked at then.
LATELY = 50

texts = {}  # path: contents


def text_of(path):
    if path not in texts:
        texts[path] = path.read_text()
    return texts[path]


def with_includes(path):
    """A file and all files of ours that it includes, in a fixed order."""
    found, left = [], [path]
    while left:
        file = left.pop()
        if file in found:
            continue
        found.append(file)
        for name in INCLUDE.findall(text_of(file)):
            for folder in (ROOT / "Source", ROOT, ROOT / "Tests"):
                if (folder / name).is_file():
                    left.append(folder / name)
                    break
    return sorted(found)


def digest(path, tool):
    total = hashlib.sha256(tool.encode())
    for file in with_includes(path):
        total.update(f"{file}\n{text_of(file)}\n".encode())
    return total.hexdigest()


def git(*arguments):
    return subprocess.run(["git", *arguments], cwd=ROOT, check=True, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.split("\n")


def lately(files, settings):
    """Those of `files` that were changed lately, by themselves or in the header of their name.

    All of them if one of `settings`, by which they are judged, was changed too, if MIRD_CI is
    "all", and where there is no git to ask.
    """
    if os.environ.get("MIRD_CI") == "all":
        return files
    try:
        names = set(git("log", f"-{LATELY}", "--format=", "--name-only")
                    + git("diff", "--name-only", "HEAD")
                    + git("ls-files", "--others", "--exclude-standard"))
    except (OSError, subprocess.CalledProcessError):
        return files
    changed = {ROOT / name for name in names if name}
    if not changed.isdisjoint(settings):
        return files
    return [file for file in files if not changed.isdisjoint((file, file.with_suffix(".h")))]


def newest(path):
    """When the file or the header of its name was changed."""
    return max(file.stat().st_mtime for file in (path, path.with_suffix(".h")) if file.exists())


def check(files, version, settings, known_list, find):
    """Calls find(path), which returns messages, for files that are not known to be good.

    `version` is that of the tool and `settings` are the files that decide what it finds;
    `known_list` is the file that keeps the digests. If MIRD_CI is set, all files are looked at that
    were changed lately; else the ones changed last come first, and what is left after some time is
    left for the next run. Prints the messages; returns the exit status: 1 if there are any.
    """
    tool = version + "".join(text_of(path) for path in settings)
    wanted = set(lately(files, settings) if os.environ.get("MIRD_CI") else files)
    known_list = pathlib.Path(known_list)
    known = set(known_list.read_text().split()) if known_list.exists() else set()
    end = None if os.environ.get("MIRD_CI") else time.monotonic() + SHORT_RUN
    good, failed, left = set(), False, 0
    for path in sorted(files, key=lambda path: (-newest(path), path)):
        mark = digest(path, tool)
        if mark in known:
            good.add(mark)
        elif path not in wanted:
            continue
        elif end and time.monotonic() > end:
            left += 1
        else:
            messages = find(path)
            for message in messages:
                failed = True
                print(message)
            if not messages:
                good.add(mark)
    known_list.write_text("".join(f"{mark}\n" for mark in sorted(good)))
    if left:
        print(f"{left} files are left for the next run; MIRD_CI=all looks at all of them")
    return 1 if failed else 0


def cpp_files(*folders):
    """All but those of Windows and of browsers, whose headers are not here."""
    return [file for folder in folders for file in sorted((ROOT / folder).rglob("*.cpp"))
            if not file.stem.endswith(("_windows", "_wasm"))]


def lone_headers(*folders):
    """Headers without a .cpp file of their name, which is what the others are looked at with."""
    return [file for folder in folders for file in sorted((ROOT / folder).rglob("*.h"))
            if not file.with_suffix(".cpp").exists()]
