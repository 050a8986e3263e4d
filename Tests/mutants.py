#!/usr/bin/env python3
"""Changes one token of the source at a time and looks whether the tests notice.

    mutants.py [options] [FILE...]

    FILE            of Source/, as Source/board/see.cpp; all of board, search, eval and tools if
                    none is named
    --count N       mutants that compile (40)
    --seed N        of the choice (1); the same seed gives the same mutants of the same source
    --jobs N        compilers, or shards of the tests, at a time (one for each processor)
    --build DIR     where the copy of the source and its build are (build/mutants)
    --skip N        leaves out the first N mutants of the seed: a run goes on where it ended

For each mutant the program and the unit tests are built, in a copy of the files that git knows.
Then come the two node totals of the signature, the suites that include a header of the file or
have its name, and all other suites without "Long" in their name. The first that fails catches the
mutant. A mutant that nothing catches is a survivor: it changes nothing, costs time, or shows a
hole in the tests. Large test data is used where MIRD_TEST_DATA says it is.

Survivors are printed, and at the end their share. Exit status: 0 after a whole run, 2 if the
source as it is does not build or pass.
"""

import argparse
import concurrent.futures
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ("board", "search", "eval", "tools")

# What a token may become. A "<" or ">" of a template is left alone as far as it can be told.
SWAPS = {
    "<": ["<=", ">"], "<=": ["<", ">"], ">": [">=", "<"], ">=": [">", "<"],
    "==": ["!="], "!=": ["=="], "+": ["-"], "-": ["+"], "*": ["+"], "/": ["*"], "%": ["+"],
    "&&": ["||"], "||": ["&&"], "&": ["|"], "|": ["&"], "^": ["|"], "<<": [">>"], ">>": ["<<"],
    "+=": ["-="], "-=": ["+="], "++": ["--"], "--": ["++"], "|=": ["&="], "&=": ["|="],
    "^=": ["|="], "!": [""], "~": [""], "true": ["false"], "false": ["true"],
    "break": ["continue"], "continue": ["break"], "WHITE": ["BLACK"], "BLACK": ["WHITE"],
}
TOKEN = re.compile(r"""
    (?P<skip>//[^\n]*|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*')
  | (?P<number>\b(?:0[xX][0-9A-Fa-f]+|\d+)(?:\.\d+)?[a-zA-Z]*\b)
  | (?P<word>\b(?:true|false|break|continue|WHITE|BLACK)\b)
  | (?P<sign><<=|>>=|<=>|->|::|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[-+*/%<>&|^!~])
""", re.VERBOSE)
# Lines where a change says nothing about the tests.
LEFT_OUT = re.compile(r"^\s*(#|static_assert|assert\(|template|using|namespace|constexpr size_t"
                      r"|//|printf|PrintFormat)")
TEMPLATES = re.compile(r"\b(static_cast|reinterpret_cast|const_cast|atomic|optional|array|vector"
                       r"|unique_ptr|span|min|max|clamp|lock_guard|compare_exchange\w*)\s*<")
SIGNATURE = re.compile(r"(\d+) nodes")
SHORT = "-*Long*.*"  # all tests but those of suites that take long
TIMES_AS_LONG = 6   # a mutant that takes this many times as long as the source itself has hung
LEAST_SECONDS = 20  # and no mutant is given less
FIRST_SECONDS = 600  # that the source's own tests are thought to take


def mutants_of(path):
    """All mutants of a file as (path, line number, column, old token, new token)."""
    found = []
    for number, line in enumerate((ROOT / path).read_text().splitlines(), 1):
        if LEFT_OUT.match(line):
            continue
        template = bool(TEMPLATES.search(line)) or "operator" in line
        for token in TOKEN.finditer(line):
            old = token[0]
            new = []
            if token["number"]:
                digits = re.match(r"0[xX][0-9A-Fa-f]+|\d+", old)[0]
                octal = re.fullmatch("0[0-7]+", digits)
                new = [str(int(digits, 8 if octal else 0) + 1) + old[len(digits):]]
            elif not token["skip"]:
                new = SWAPS.get(old, [])
            if old in ("<", ">", ">>") and template:
                continue
            # A sign, a reference or a pointer is not an operator between two values.
            before = line[:token.start()].rstrip()
            if old in "-+*&" and not re.search(r"[\w)\]]$", before):
                continue
            if old in "*&" and re.search(r"\b(const|auto|\w+_t|int|char|void|FILE|[A-Z]\w*[a-z]\w*)$",
                                         before):
                continue
            found += [(path, number, token.start(), old, text) for text in new]
    return found


def spread(lists, rng):
    """One mutant of each file in turn, so that tables of numbers don't make up most of them."""
    for mutants in lists:
        rng.shuffle(mutants)
    rng.shuffle(lists)
    return [mutants[i] for i in range(max(map(len, lists), default=0)) for mutants in lists
            if i < len(mutants)]


class Copy:
    """The copy of the source and its build."""

    def __init__(self, folder, jobs):
        self.source = folder / "source"
        self.build = folder / "build"
        self.jobs = jobs
        self.test_seconds = {}
        self.bench_seconds = 10.0

    def renew(self):
        files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT,
                               capture_output=True, text=True, check=True).stdout.split("\n")
        for name in filter(None, files):
            new, old = ROOT / name, self.source / name
            if not new.is_file() or "fuzz/corpus" in name:
                continue
            if old.exists() and old.read_bytes() == new.read_bytes():
                continue
            old.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(new, old)
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DMIRD_LTO=OFF", "-DMIRD_WERROR=OFF"]
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        if shutil.which("ld.lld"):
            options.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
        return subprocess.run(["cmake", "-S", self.source, "-B", self.build, *options],
                              stdout=subprocess.DEVNULL, check=False).returncode == 0

    def make(self):
        environment = {"CCACHE_SLOPPINESS": "pch_defines,time_macros,include_file_mtime,"
                                            "include_file_ctime", **os.environ}
        run = subprocess.run(["cmake", "--build", self.build, "--parallel", str(self.jobs),
                              "--target", "mird", "mird_tests"], capture_output=True,
                             env=environment, check=False)
        return run.returncode == 0

    def change(self, mutant):
        """Puts a mutant in place. Returns the text that was there, for restore."""
        path, number, column, old, new = mutant
        file = self.source / path
        kept = file.read_text()
        lines = kept.split("\n")
        line = lines[number - 1]
        assert line[column:].startswith(old)
        lines[number - 1] = line[:column] + new + line[column + len(old):]
        file.write_text("\n".join(lines))
        return kept

    def restore(self, mutant, kept):
        (self.source / mutant[0]).write_text(kept)

    def totals(self):
        """Both node totals, or why there are none."""
        found = []
        for evaluation in ([], ["-use_hce"]):
            try:
                run = subprocess.run([self.build / "mird", "bench", *evaluation],
                                     capture_output=True, text=True, errors="replace", check=False,
                                     stdin=subprocess.DEVNULL, cwd=self.build,
                                     timeout=max(LEAST_SECONDS, TIMES_AS_LONG * self.bench_seconds))
            except subprocess.TimeoutExpired:
                return "hangs"
            total = SIGNATURE.search(run.stdout)
            if run.returncode != 0 or not total:
                return f"ends with status {run.returncode}"
            found.append(total[1])
        return found

    def tests(self, name, pattern):
        """Runs the tests of a pattern in shards. Returns an empty text, or what has failed."""
        start = time.monotonic()
        usual = self.test_seconds.get(name, self.test_seconds.get("all", FIRST_SECONDS))
        limit = max(LEAST_SECONDS, TIMES_AS_LONG * usual)

        def shard(index):
            environment = {**os.environ, "GTEST_TOTAL_SHARDS": str(self.jobs),
                           "GTEST_SHARD_INDEX": str(index)}
            environment.pop("MIRD_CI", None)
            try:
                run = subprocess.run([self.build / "Tests" / "mird_tests", "--gtest_fail_fast",
                                      f"--gtest_filter={pattern}"], capture_output=True, text=True,
                                     errors="replace", stdin=subprocess.DEVNULL, cwd=self.build,
                                     env=environment, timeout=limit, check=False)
            except subprocess.TimeoutExpired as cut:
                return "hangs at " + last_test((cut.stdout or b"").decode(errors="replace"))
            if run.returncode in (0, 77):
                return ""
            failed = re.search(r"\[  FAILED  \] (\S+)", run.stdout)
            return failed[1] if failed else f"crash at {last_test(run.stdout)}"

        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            found = next(filter(None, pool.map(shard, range(self.jobs))), "")
        self.test_seconds.setdefault(name, time.monotonic() - start)
        return found


def last_test(output):
    return (re.findall(r"\[ RUN      \] (\S+)", output) or ["the start"])[-1]


def suites_near(path):
    """A pattern of the suites whose file includes the header of a file, or has its name."""
    stem = pathlib.Path(path).stem
    header = str(pathlib.Path(path).relative_to("Source").with_suffix(".h"))
    suites = set()
    for file in sorted((ROOT / "Tests").glob("*_test.cpp")):
        text = file.read_text()
        if f'"{header}"' in text or stem in file.name:
            suites |= set(re.findall(r"^TEST(?:_F|_P)?\((\w+),", text, re.MULTILINE))
    suites = {suite for suite in suites if "Long" not in suite}
    return ":".join(f"{suite}.*:*/{suite}.*" for suite in sorted(suites))


def catch(copy, mutant, expected):
    """What catches a mutant; None if it does not compile, an empty text if nothing does."""
    if not copy.make():
        return None
    totals = copy.totals()
    if totals != expected:
        return f"totals: {totals if isinstance(totals, str) else ' '.join(totals)}"
    near = suites_near(mutant[0])
    return (copy.tests(mutant[0], f"{near}:{SHORT}") if near else "") or copy.tests("all", SHORT)


def arguments():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="*")
    parser.add_argument("--count", type=int, default=40)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--skip", type=int, default=0)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "mutants")
    return parser.parse_args()


def main():
    options = arguments()
    files = options.files or [str(file.relative_to(ROOT)) for folder in FOLDERS
                              for file in sorted((ROOT / "Source" / folder).glob("*.cpp"))]
    mutants = spread([mutants_of(path) for path in files], random.Random(options.seed))

    copy = Copy(options.build.resolve(), options.jobs)
    start = time.monotonic()
    if not copy.renew() or not copy.make():
        print("the source does not build")
        return 2
    start = time.monotonic()
    expected = copy.totals()
    copy.bench_seconds = time.monotonic() - start
    failed = copy.tests("all", SHORT)
    if isinstance(expected, str) or failed:
        print(f"the source does not pass: {failed or expected}")
        return 2

    done, survivors = 0, []
    for mutant in mutants[options.skip:]:
        if done == options.count:
            break
        path, number, _, old, new = mutant
        kept = copy.change(mutant)
        caught = catch(copy, mutant, expected)
        copy.restore(mutant, kept)
        if caught is None:
            continue
        done += 1
        what = f"{path}:{number}: {old} -> {new or 'nothing'}"
        print(f"{done:4} {what}: {caught or 'SURVIVES'}", flush=True)
        if not caught:
            survivors.append((what, kept.split("\n")[number - 1].strip()))

    print(f"\n{done - len(survivors)} of {done} mutants caught")
    for what, line in survivors:
        print(f"{what}\n    {line}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
