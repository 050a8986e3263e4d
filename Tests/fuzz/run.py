#!/usr/bin/env python3
"""Runs the fuzz targets, each for some seconds, from the inputs of Tests/fuzz/corpus on.

    run.py [options] [TARGET...]

    --seconds N   of each target (10)
    --jobs N      targets at a time (1)
    --seed N      of the random numbers; 0, the default, takes another one each time
    --build DIR   where the targets are (build/fuzz)
    --merge       after a run without a report, keeps in the corpus what covers new code, and of
                  all inputs the fewest and smallest that cover the same

Build them first: cmake --preset fuzz && cmake --build --preset fuzz --target mird_fuzz

New inputs are kept in DIR/fuzz/TARGET/found from run to run. An input that makes a target fail is
left in DIR/fuzz/TARGET, with what was said in the file "log" beside it; the target runs it again
with its name as argument. Exit status: 0 all well, 1 a report, 2 there is nothing to run.
"""

import argparse
import concurrent.futures
import os
import pathlib
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
CORPUS = HERE / "corpus"
PREFIX = "mird_fuzz_"

# The longest input of each target, in bytes: longer ones reach nothing new and take their time.
LENGTHS = {"fen": 120, "uci": 1500, "console": 1500, "pgn": 3000, "epd": 1500, "book": 1024,
           "network": 4096, "table": 8192, "config": 1500, "params": 4096}
LONGEST_INPUT = 60  # seconds that one input may take
MEMORY = 3000       # megabytes
ABOUT_A_FAILURE = ("SUMMARY:", "ERROR:", "runtime error", "does not hold", "Test unit written")

OPTIONS = {
    "ASAN_OPTIONS": "allocator_may_return_null=1:handle_abort=1",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}


def programs(build):
    folder = build / "Tests" / "fuzz"
    found = sorted(file for file in folder.glob(PREFIX + "*") if os.access(file, os.X_OK))
    return {file.name.removeprefix(PREFIX): file for file in found if file.is_file()}


def start(program, arguments, log):
    """Runs a target and returns its exit status. Both of its own outputs are closed: what is left
    on standard error is libFuzzer's and the sanitizers'."""
    with open(log, "w", encoding="utf-8", errors="replace") as out:
        return subprocess.run([program, "-close_fd_mask=3", *arguments], stdout=out, stderr=out,
                              stdin=subprocess.DEVNULL, env={**OPTIONS, **os.environ},
                              check=False).returncode


def fuzz(target, program, place, options):
    """Returns the lines that say how it went, and whether all was well."""
    found = place / "found"
    found.mkdir(parents=True, exist_ok=True)
    log = place / "log"
    corpus = CORPUS / target
    status = start(program, [f"-max_total_time={options.seconds}", f"-seed={options.seed}",
                             f"-max_len={LENGTHS.get(target, 4096)}", f"-timeout={LONGEST_INPUT}",
                             f"-rss_limit_mb={MEMORY}", "-print_final_stats=1", "-reload=0",
                             f"-artifact_prefix={place}/", found,
                             *([corpus] if corpus.is_dir() else [])], log)
    lines = log.read_text(errors="replace").splitlines()
    if status == 0:
        runs = [line.split()[-1] for line in lines if "number_of_executed_units" in line]
        covered = [line.split("cov: ")[1].split()[0] for line in lines if "cov: " in line]
        return [f"{target}: {runs[-1] if runs else 0} inputs, "
                f"{covered[-1] if covered else 0} places reached"], True
    told = [line for line in lines if any(word in line for word in ABOUT_A_FAILURE)]
    return [f"{target}: FAILED with status {status}, see {log}", *told[:12]], False


def merge(target, program, place):
    """Replaces the corpus by the inputs that are needed of it and of those found."""
    kept = place / "merged"
    shutil.rmtree(kept, ignore_errors=True)
    kept.mkdir()
    # Without counters: what counts is which places are reached, not how often.
    status = start(program, ["-set_cover_merge=1", "-use_counters=0",
                             f"-max_len={LENGTHS.get(target, 4096)}", f"-timeout={LONGEST_INPUT}",
                             kept, CORPUS / target, place / "found"], place / "merge.log")
    if status != 0:
        return f"{target}: merging failed, see {place / 'merge.log'}"
    shutil.rmtree(CORPUS / target, ignore_errors=True)
    shutil.copytree(kept, CORPUS / target)
    files = list(kept.iterdir())
    return f"{target}: {len(files)} inputs kept, {sum(f.stat().st_size for f in files)} bytes"


def arguments():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("targets", nargs="*")
    parser.add_argument("--seconds", type=int, default=10)
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--seed", type=int, default=0)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "fuzz")
    parser.add_argument("--merge", action="store_true")
    return parser.parse_args()


def main():
    options = arguments()
    build = options.build.resolve()
    known = programs(build)
    targets = options.targets or list(known)
    missing = [target for target in targets if target not in known]
    if missing or not targets:
        print(f"not built in {build}: {' '.join(missing) or 'any target'}")
        return 2

    def run(target):
        place = build / "fuzz" / target
        lines, well = fuzz(target, known[target], place, options)
        if well and options.merge:
            lines.append(merge(target, known[target], place))
        print("\n".join(lines), flush=True)
        return well

    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        return 0 if all(list(pool.map(run, targets))) else 1


if __name__ == "__main__":
    sys.exit(main())
