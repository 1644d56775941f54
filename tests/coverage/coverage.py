#!/usr/bin/env python3
"""coverage.py [--report]: which lines and branches of the daemons the tests run.

Builds the preset `coverage`, runs the tests of policy/, platform/, framework/ and
common/ with it, those with real processes included, and prints for
each source how many of its lines and branches ran; a branch is one of the two
outcomes of a condition as it is written. Left out are conditions that the compiler
evaluates, and what no case of a switch names, for the compiler sees that each value
of an enumeration is named. Whatever did not run must stand in exceptions.txt with its
reason; the status is 1 when something does not, or an exception is no longer one.
With --report the tests are not run again.

clang counts into files that the processes map, so daemons that a test kills
count as well.
"""

import collections
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build/coverage"
PROFILES = BUILD / "profiles"
EXCEPTIONS = pathlib.Path(__file__).with_name("exceptions.txt")
MEASURED = ("policy/", "platform/", "framework/", "common/")
# What the build's target of the same list makes.
TESTS = re.search(r"covered_tests DEPENDS([^)]*)",
                  (ROOT / "CMakeLists.txt").read_text()).group(1).split()
PROGRAMS = ("policyd", "profiled_policyd", "finder", "xrlgen")


def run(*command, **options):
    return subprocess.run(command, cwd=ROOT, check=True, **options)


def run_test(name):
    environment = dict(os.environ, LLVM_PROFILE_FILE=f"{PROFILES}/%c{name}-%p.profraw")
    result = subprocess.run([BUILD / "bin" / name, "--gtest_brief=1"], env=environment,
                            capture_output=True, text=True, check=False)
    if result.returncode != 0:
        print(result.stdout + result.stderr)
    return result.returncode == 0


def generate_again():
    """What the build had xrlgen generate, much of it for tests; so the profile has it."""
    commands = run("ninja", "-C", BUILD, "-t", "commands", capture_output=True, text=True).stdout
    environment = dict(os.environ, LLVM_PROFILE_FILE=f"{PROFILES}/%cgenerated-%p.profraw")
    for line in commands.splitlines():
        for command in map(shlex.split, line.split(" && ")):
            if command[0].endswith("/xrlgen"):
                subprocess.run(command, cwd=BUILD, env=environment, check=True)


def run_tests():
    run("cmake", "--preset", "coverage", stdout=subprocess.DEVNULL)
    run("cmake", "--build", "--preset", "coverage")
    PROFILES.mkdir(exist_ok=True)
    for old in PROFILES.iterdir():
        old.unlink()
    generate_again()
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        if not all(list(pool.map(run_test, TESTS))):
            sys.exit("a test failed")


def exported():
    """What llvm-cov knows of each measured source."""
    merged = PROFILES / "merged.profdata"
    raw = PROFILES / "raw.txt"
    raw.write_text("".join(f"{path}\n" for path in sorted(PROFILES.glob("*.profraw"))))
    run("llvm-profdata", "merge", "-sparse", "-f", raw, "-o", merged)
    programs = [BUILD / "bin" / name for name in [*PROGRAMS, *TESTS]]
    objects = [word for program in programs[1:] for word in ("-object", program)]
    data = run("llvm-cov", "export", programs[0], *objects, f"-instr-profile={merged}",
               "-skip-functions", capture_output=True, text=True).stdout
    files = {os.path.relpath(file["filename"], ROOT): file
             for file in json.loads(data)["data"][0]["files"]}
    return {name: file for name, file in files.items() if name.startswith(MEASURED)}


def line_counts(segments, source):
    """How often each line of code ran: the most that any of its regions did."""
    starts = collections.defaultdict(list)
    for segment in segments:
        starts[segment[0]].append(segment)
    counts, wrapped = {}, None
    for line in range(segments[0][0], segments[-1][0] + 1):
        begun = [s for s in starts[line] if s[3] and s[4] and not s[5]]
        skipped = starts[line] and starts[line][0][4] and not starts[line][0][3]
        is_code = any(map(str.isalnum, source[line - 1]))
        if is_code and not skipped and (begun or (wrapped and wrapped[3])):
            counts[line] = max([s[2] for s in begun] + ([wrapped[2]] if wrapped else []))
        if starts[line]:
            wrapped = starts[line][-1]
    return counts


def branch_counts(branches):
    """How often each condition was true and false, all instances of a template together."""
    counts = collections.defaultdict(lambda: {"true": 0, "false": 0})
    for line, column, last_line, last_column, true, false, *_ in branches:
        condition = (line, column, last_column if line == last_line else None)
        counts[condition]["true"] += true
        counts[condition]["false"] += false
    return counts


def told_conditions(branches, lines, source):
    """The conditions that can be true and false while the program runs."""
    told = {}
    for (line, begin, end), counts in branches.items():
        text = source[line - 1]
        if re.match(r"\s*switch \(", text) and text[begin - 2:begin - 1] == "(":
            continue
        others = [other for place, other in branches.items()
                  if place[0] == line and any(other.values())]
        # Where nothing else of its line kept a condition from running, the compiler did.
        if not any(counts.values()) and lines.get(line) and all(all(o.values()) for o in others):
            continue
        told[line, begin, end] = counts
    return told


class Exceptions:
    """What exceptions.txt lists; of several lines in a row, with " / " between them."""

    def __init__(self):
        self.rows = {}
        for row in EXCEPTIONS.read_text().splitlines():
            if row and not row.startswith("#"):
                file, code, _ = row.split(" | ")
                self.rows[file, code] = False

    def covers(self, name, line, source):
        """Whether a line is excepted, which is noted."""
        found = False
        for file, code in self.rows:
            codes = code.split(" / ")
            for first in range(line - len(codes), line) if file == name else ():
                if [each.strip() for each in source[first:first + len(codes)]] == codes:
                    self.rows[file, code] = found = True
        return found


def main(report_only):
    if not report_only:
        run_tests()
    exceptions = Exceptions()
    problems = []
    total = [0, 0, 0, 0]
    print(f"{'':40} {'lines':>12} {'branches':>12}")
    for name, file in sorted(exported().items()):
        source = (ROOT / name).read_text().splitlines()
        lines = line_counts(file["segments"], source)
        branches = told_conditions(branch_counts(file["branches"]), lines, source)
        missed = [(line, "never runs") for line, count in lines.items() if not count]
        missed += [(line, f"'{source[line - 1][begin - 1:end and end - 1]}' is never {outcome}")
                   for (line, begin, end), counts in branches.items()
                   for outcome, count in counts.items() if not count]
        outcomes = [count for counts in branches.values() for count in counts.values()]
        row = [sum(map(bool, lines.values())), len(lines), sum(map(bool, outcomes)), len(outcomes)]
        total = [a + b for a, b in zip(total, row)]
        print(f"{name:40} {row[0]:5} / {row[1]:4} {row[2]:5} / {row[3]:4}")
        problems += [f"{name}:{line}: {what}: {source[line - 1].strip()}"
                     for line, what in sorted(missed)
                     if not exceptions.covers(name, line, source)]
    print(f"{'all':40} {total[0]:5} / {total[1]:4} {total[2]:5} / {total[3]:4}")
    print(f"{sum(exceptions.rows.values())} exceptions, each with its reason, in "
          f"{EXCEPTIONS.relative_to(ROOT)}")
    problems += [f"{file}: no exception any more: {code}"
                 for (file, code), needed in exceptions.rows.items() if not needed]
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:] == ["--report"]))
