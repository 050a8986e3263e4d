#!/usr/bin/env python3
"""Runs clang-tidy with the list of .clang-tidy over Source/ and Training/.

    check_tidy.py KNOWN_LIST

KNOWN_LIST is a file in the build folder that remembers where nothing was found; see
checked_files.py. Exit status: 0 all well, 1 findings, 77 no fitting clang-tidy here.
"""

import re
import subprocess
import sys

from checked_files import ROOT, check, cpp_files

# Each major version finds other things, so only one of them can be the judge.
VERSION = "14"


def version_of(tool):
    try:
        text = subprocess.run([tool, "--version"], capture_output=True, text=True, check=True).stdout
    except (OSError, subprocess.CalledProcessError):
        return ""
    found = re.search(r"version (\d+)[.\d]*", text)
    return found[0] if found and found[1] == VERSION else ""


def main():
    tool = next((name for name in (f"clang-tidy-{VERSION}", "clang-tidy") if version_of(name)), "")
    if not tool:
        print(f"clang-tidy {VERSION} is missing: not checked")
        return 77

    def find(path):
        run = subprocess.run([tool, "--quiet", str(path.relative_to(ROOT)), "--", "-std=c++20",
                              "-ISource", "-I."], cwd=ROOT, capture_output=True, text=True,
                             check=False)
        if "warning:" not in run.stdout and "error:" not in run.stdout:
            return []
        return [run.stdout.replace(f"{ROOT}/", "")]

    settings = [ROOT / ".clang-tidy"]
    return check(cpp_files("Source", "Training"), version_of(tool), settings, sys.argv[1], find)


if __name__ == "__main__":
    sys.exit(main())
