#!/usr/bin/env python3
"""Runs the short tests in a build that counts the lines that run, and tells those that don't.

    coverage.py [options] [FOLDER...]

    --kept        takes the counts of the last run and runs nothing
    --jobs N      tests at a time (one for each processor)
    --build DIR   the build (build/coverage)

Prints the share of the lines of each folder of Source/ that have run, then file by file the lines
that have not; with folders named, only theirs. Tests that need large data run where MIRD_TEST_DATA
says where it is.

Exit status: 0 all well, 1 a folder's share is below its bar, 2 a tool or the build failed.
"""

import argparse
import collections
import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PRESET = "coverage"

# Per cent of a folder's lines that must have run. What stands below them in base/ is the system's.
BARS = {"base": 85, "board": 92, "book": 92, "tools": 92, "shell": 92, "search": 90, "eval": 90,
        "syzygy": 90}


def run(*command):
    return subprocess.run(command, cwd=ROOT, check=False).returncode == 0


def count_anew(build, jobs):
    """Builds, forgets the old counts and runs the tests. Returns whether that worked; a failed
    test is told, and its counts count."""
    if not run("cmake", "--preset", PRESET, "-B", str(build)):
        return False
    if not run("cmake", "--build", str(build), "--parallel", jobs, "--target", "mird_tests"):
        return False
    for counts in build.rglob("*.gcda"):
        counts.unlink()
    run("ctest", "--test-dir", str(build), "-E", "Long", "--parallel", jobs, "--output-on-failure",
        "--progress")
    return True


def read_counts(build):
    """How often each line ran: {file: {line: count}}. A line of a header counts over all files
    that include it."""
    counts = collections.defaultdict(lambda: collections.defaultdict(int))
    for notes in sorted(build.rglob("*.gcno")):
        told = subprocess.run(["gcov", "--json-format", "--stdout", str(notes)], cwd=build,
                              capture_output=True, check=False).stdout
        for text in told.splitlines():
            for file in json.loads(text)["files"]:
                path = pathlib.Path(os.path.normpath(build / file["file"]))
                if ROOT / "Source" not in path.parents:
                    continue
                lines = counts[path.relative_to(ROOT)]
                for line in file["lines"]:
                    lines[line["line_number"]] += line["count"]
    return counts


def runs_of(numbers, text):
    """Runs of numbers, over blank lines and lines without code, as (first, last)."""
    runs = []
    for number in numbers:
        if runs and all(not text[i].strip(" }") for i in range(runs[-1][1], number - 1)):
            runs[-1][1] = number
        else:
            runs.append([number, number])
    return runs


def print_missing(path, lines):
    missing = sorted(number for number, count in lines.items() if count == 0)
    if not missing:
        return
    text = (ROOT / path).read_text().splitlines()
    print(f"{path}: {len(missing)} of {len(lines)} lines")
    for first, last in runs_of(missing, text):
        number = str(first) if first == last else f"{first}-{last}"
        print(f"    {number:>9}  {text[first - 1].strip()}")


def print_shares(counts):
    """Returns whether all folders reach their bars."""
    well = True
    for folder, bar in BARS.items():
        lines = [count for path, of_file in counts.items() if path.parts[1] == folder
                 for count in of_file.values()]
        if not lines:
            continue
        share = 100.0 * sum(count > 0 for count in lines) / len(lines)
        low = share < bar
        well = well and not low
        print(f"{folder:8}{len(lines):6} lines  {share:6.2f} %" + (f"  below {bar} %" * low))
    return well


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folders", nargs="*")
    parser.add_argument("--kept", action="store_true")
    parser.add_argument("--jobs", default=str(os.cpu_count()))
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / PRESET)
    options = parser.parse_args()
    build = options.build.resolve()
    if not options.kept and not count_anew(build, options.jobs):
        return 2
    counts = read_counts(build)
    if not counts:
        print(f"no counts in {build}")
        return 2
    well = print_shares(counts)
    print()
    for path in sorted(counts):
        if not options.folders or path.parts[1] in options.folders:
            print_missing(path, counts[path])
    return 0 if well else 1


if __name__ == "__main__":
    sys.exit(main())
