#!/usr/bin/env python3
"""Checks with include-what-you-use that no file includes, or declares ahead, what it doesn't use.

    check_includes.py KNOWN_LIST

KNOWN_LIST is a file in the build folder that remembers where nothing was found; see
checked_files.py. Where something is found, the message also tells which headers of ours the file
uses without including them. The tests, which take longest, are looked at only if MIRD_CI is set.

Exit status: 0 all well, 1 findings, 77 no fitting include-what-you-use here.
"""

import os
import re
import subprocess
import sys

from checked_files import ROOT, check, cpp_files, lone_headers

# Versions differ in what they find; this one is made with clang 14.
VERSION = "0.18"

# Bodies that are included with something defined before: no files of their own.
BODIES = {"Source/eval/nn_kernels_vector.h", "Training/kernels_body.h"}


def version_of(tool):
    try:
        text = subprocess.run([tool, "--version"], capture_output=True, text=True, check=True).stdout
    except (OSError, subprocess.CalledProcessError):
        return ""
    return text.strip() if re.search(rf"include-what-you-use {re.escape(VERSION)}\b", text) else ""


def superfluous(output):
    """Messages of a run: a file, what it could do without, and what it could add."""
    lists = {}
    lines = None
    for line in output.splitlines():
        found = re.match(r"(\S+) should (add|remove) these lines:$", line)
        if found:
            lines = lists.setdefault(found[1], {}).setdefault(found[2], [])
        elif line.startswith("The full include-list") or not line:
            lines = None
        elif lines is not None:
            lines.append(re.sub(r"^- |\s*//.*", "", line))
    messages = []
    for file, found in lists.items():
        if not found.get("remove"):
            continue
        text = f"{file} does not use: {', '.join(found['remove'])}"
        instead = [line for line in found.get("add", []) if '"' in line]
        if instead:
            text += f"\n  it uses without including: {', '.join(instead)}"
        messages.append(text)
    return messages


def main():
    tool = next((name for name in ("include-what-you-use", "iwyu") if version_of(name)), "")
    if not tool:
        print(f"include-what-you-use {VERSION} is missing: not checked")
        return 77

    # Forward declarations are not asked for in place of includes.
    names = ROOT / "Tests" / "iwyu.imp"
    options = ["-Xiwyu", f"--mapping_file={names}", "-Xiwyu", "--no_fwd_decls", "-Xiwyu",
               "--no_comments", "-Xiwyu", "--max_line_length=200", "-std=c++20", "-ISource", "-I.",
               "-ITests", '-DMIRD_BINARY=""', '-DMIRD_UCI_BINARY=""', '-DMIRD_TEST_SOURCE_DIR=""']

    def find(path):
        name = str(path.relative_to(ROOT))
        kind = ["-x", "c++"] if path.suffix == ".h" else []
        run = subprocess.run([tool, *options, *kind, name], cwd=ROOT, capture_output=True,
                             text=True, check=False)
        if "error:" in run.stderr:
            return [run.stderr]
        return superfluous(run.stderr)

    files = cpp_files("Source", "Training") + lone_headers("Source", "Training")
    if os.environ.get("MIRD_CI"):
        files += cpp_files("Tests") + lone_headers("Tests")
    files = [file for file in files if str(file.relative_to(ROOT)) not in BODIES]
    return check(files, version_of(tool) + str(options), [names], sys.argv[1], find)


if __name__ == "__main__":
    sys.exit(main())
