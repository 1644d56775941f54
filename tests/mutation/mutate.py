#!/usr/bin/python3 -B
"""Plants faults in the tree, one at a time, and tells which ones no test notices.

  tests/mutation/mutate.py                     the draw of the documentation
  tests/mutation/mutate.py --seed 7 --count 900
  tests/mutation/mutate.py --room policy       one room's share of the draw
  tests/mutation/mutate.py --at platform/usp.cc:10    all faults of a line, or of a file
  tests/mutation/mutate.py --always            only those of every draw, which always.txt names
  tests/mutation/mutate.py --again             only those that survived the last time
  tests/mutation/mutate.py --planted           only those of planted_faults.py
  tests/mutation/mutate.py --quick             without the tests that take longest
  tests/mutation/mutate.py --list              what would be planted

Every source that gets faults is compiled once with all of them; a process has the
one that its environment names. The tests run once without any, noting which test
comes by which fault. Then each fault is met by the tests that come by it, cheapest
programs first, until one fails. What no test comes by has survived. A run that takes
more than ten times as long as without the fault, and twenty seconds on top, counts as
killed by time.

The faults of planted_faults.py are planted besides; of each all tests are asked, and
those that find it are told.

The status is 1 when a fault survived that survivors.txt does not explain, when that
names a drawn one that was killed, or when no test finds a fault of planted_faults.py.
"""

import argparse
import collections
import concurrent.futures
import dataclasses
import hashlib
import json
import os
import pathlib
import pickle
import re
import resource
import signal
import subprocess
import sys
import tempfile
import threading
import time

import find_mutants
import planted_faults
from mutated_build import MutatedBuild, ROOT

BUILD = ROOT / "build/mutation"
SURVIVORS = pathlib.Path(__file__).with_name("survivors.txt")
ALWAYS = pathlib.Path(__file__).with_name("always.txt")
MOST = 16384  # as in mutant.h

# How many of a draw of a hundred come from where, and which tests are asked.
# A source belongs to the longest name that its path begins with.
ROOMS = {"policy": 20, "framework": 38, "platform": 10, "common": 5, "tools": 9,
         "tools/policyctl": 18}
# A header that more sources include would have all of them compiled again.
MOST_INCLUDERS = 12
# A process that was made to fill the memory shall not fill the machine's.
MOST_MEMORY = 8 << 30
LONGEST_FILE = 256 << 20
QUICK_TEST_MS = 100
# Tests of one program that take longer wait until all others were asked.
QUICK_GROUP_MS = 3000
# Tests that are not run, with the reason.
NOT_RUN = {
    "test_finder_place": "it needs the finder's own port for itself",
    "fuzz_harness_check": "it fails",
    "test_linuxcard_data_path": "what it asks is not mutated, and it makes network devices",
    "test_linuxcard_classifier": "what it asks is not mutated",
}
SECONDS_MORE = 10
TIMES_LONGER = 10
LOCK = threading.Lock()
OPTIONS = argparse.Namespace(tests="")


# ---- Where the faults are


def room_of(file):
    """The room that a source belongs to, or None."""
    return max((room for room in ROOMS if file.startswith(room + "/")), key=len, default=None)


def sources(build, options):
    """{source: arguments to parse it with}, of the measured rooms, headers included."""
    arguments, includers = {}, collections.Counter()
    graph = build.include_graph()
    for file, command in build.commands():
        headers = graph.headers_of(file)
        includers.update(headers)
        words = [word for word in command[1:] if word.startswith(("-D", "-I", "-std"))]
        for measured in {file, *headers}:
            if room_of(measured) and (ROOT / measured).is_file():
                arguments.setdefault(measured, [*words, "-w", "-xc++"])
    wanted = arguments
    if options.at:
        wanted = {options.at.partition(":")[0]}
    elif options.always:
        wanted = {row.split(" | ")[0] for row in read_rows(ALWAYS)}
    return {file: words for file, words in sorted(arguments.items())
            if file in wanted and (includers[file] <= MOST_INCLUDERS or options.at)}


def mutants_of_file(file_and_arguments):
    """The mutants of a file, from the last time when it has not changed since."""
    file, arguments = file_and_arguments
    kept = BUILD / "found" / (file.replace("/", "+") + ".pickle")
    finder = pathlib.Path(find_mutants.__file__)
    if kept.is_file() and kept.stat().st_mtime > max((ROOT / file).stat().st_mtime,
                                                     finder.stat().st_mtime):
        return pickle.loads(kept.read_bytes())
    mutants = find_mutants.mutants_of(ROOT, file, arguments)
    kept.parent.mkdir(parents=True, exist_ok=True)
    kept.write_bytes(pickle.dumps(mutants))
    return mutants


def read_rows(path):
    return [row for row in path.read_text().splitlines() if row and not row.startswith("#")]


def draw(found, options):
    """The mutants of this run, numbered from 1."""
    if options.planted:
        chosen = []
    elif options.at:
        file, _, line = options.at.partition(":")
        chosen = [m for m in found if m.file == file and line in ("", str(m.line))]
    else:
        chosen = [] if options.always else drawn_by_room(found, options)
        always = read_rows(ALWAYS)
        known = {m.key() for m in found}
        for row in always:
            if row not in known:
                sys.exit(f"{ALWAYS.name}: no such mutant: {row}")
        named = [m for m in found if m.key() in always and in_room(m, options.room)]
        chosen = sorted(set(chosen) | set(named), key=lambda m: (m.file, m.start, m.change))
    by_hand = [] if options.at or options.always else planted_faults.mutants_of(ROOT)
    chosen = [m for m in chosen if not any(m.overlaps(planted) for planted in by_hand)]
    if len(chosen) + len(by_hand) >= MOST:
        sys.exit("too many")
    return dict(enumerate(chosen + by_hand, 1))


def in_room(mutant, room):
    return room in (None, room_of(mutant.file))


def drawn_by_room(found, options):
    """A share of each room. What changes elsewhere in the tree does not change the draw."""
    def lot(mutant):
        return hashlib.sha256(f"{options.seed} {mutant.key()} {mutant.column}".encode()).digest()

    chosen = []
    for room, share in ROOMS.items():
        if options.room in (None, room):
            there = sorted((m for m in found if in_room(m, room)), key=lot)
            chosen += there[:round(options.count * share / sum(ROOMS.values()))]
    return chosen


# ---- Planting them


def planted(file, mutants):
    """The source with the code of all its mutants around its pieces."""
    pieces = collections.defaultdict(list)
    for number, mutant in mutants.items():
        width = mutant.end - mutant.start
        flag = f"MUTANT({number})"
        pieces[mutant.start].append((1, -width, number, mutant.before.replace("@", flag)))
        pieces[mutant.end].append((0, width, -number, mutant.behind.replace("@", flag)))
    source = (ROOT / file).read_bytes()
    out, at = [f'#include "tests/mutation/mutant.h"\n#line 1 "{ROOT / file}"\n'.encode()], 0
    for place in sorted(pieces):
        out.append(source[at:place])
        out += [code.encode() for *_, code in sorted(pieces[place])]
        at = place
    out.append(source[at:])
    return b"".join(out)


def plant(build, mutants):
    by_file = collections.defaultdict(dict)
    for number, mutant in mutants.items():
        by_file[mutant.file][number] = mutant
    build.plant({file: planted(file, its) for file, its in by_file.items()})


def programs(build):
    """The test programs and replays that are asked."""
    names = set(re.findall(r"^bin/((?:test|fuzz)_\w+):", build.targets(), re.MULTILINE))
    return sorted(name for name in names - NOT_RUN.keys() if re.search(OPTIONS.tests, name))


def compile_all(build, mutants):
    """Builds with the mutants; those that do not compile are taken out of them."""
    wrong = 0
    while True:
        plant(build, mutants)
        result = subprocess.run(["ninja", "-C", BUILD, "-k", "0", *programs(build)],
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                check=False)
        if result.returncode == 0:
            return wrong
        guilty = guilty_of(result.stdout, mutants)
        if not guilty:
            sys.exit("the build fails:\n" + result.stdout[-5000:])
        for number in guilty:
            del mutants[number]
        wrong += len(guilty)


def guilty_of(output, mutants):
    """The mutants in the lines of the errors or, failing that, in any line that is named."""
    for what in (": error", ""):
        places = {(os.path.relpath(path, ROOT), int(line)) for path, line in
                  re.findall(r"(/\S+?):(\d+):\d+" + what, output)}
        guilty = [n for n, m in mutants.items() if (m.file, m.line) in places]
        if guilty:
            return guilty
    return []


def generate(build):
    """Makes what sources include."""
    headers = re.findall(r"^(generated/\S+\.h):", build.targets(), re.MULTILINE)
    try:
        build.build(headers)
    except subprocess.CalledProcessError:
        # What was planted the last time did not compile.
        build.plant({})
        build.build(headers)


# ---- Running the tests


@dataclasses.dataclass
class Group:
    """Tests of one program that run in one process."""
    program: str
    tests: dict  # name -> (milliseconds, numbers of the mutants it comes by); None: the whole

    def milliseconds(self, number):
        return sum(ms for ms, reached in self.tests.values() if number in reached)

    def reaching(self, number):
        return [name for name, (_, reached) in self.tests.items() if number in reached]


def limits():
    resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (LONGEST_FILE, LONGEST_FILE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(command, environment, seconds, output):
    """Its status, or None when it took longer."""
    environment = {name: value for name, value in os.environ.items()
                   if not name.startswith(("GTEST_", "XRL_"))} | environment
    process = subprocess.Popen(command, cwd=ROOT, env=environment, stdin=subprocess.DEVNULL,
                               stdout=output, stderr=subprocess.STDOUT, start_new_session=True,
                               preexec_fn=limits)  # pylint: disable=subprocess-popen-preexec-fn
    try:
        return process.wait(seconds)
    except subprocess.TimeoutExpired:
        return None
    finally:
        # Also what it left behind.
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()


def command_of(program, tests, folder, all_of_them=False):
    path = BUILD / "bin" / program
    if program.startswith("fuzz_"):
        return [path, ROOT / "tests/fuzz/corpus" / program.removeprefix("fuzz_")]
    words = [path, "--gtest_brief=1", *([] if all_of_them else ["--gtest_fail_fast"])]
    if tests:
        flags = pathlib.Path(folder) / "flags"
        flags.write_text("--gtest_filter=" + ":".join(tests) + "\n")
        words.append(f"--gtest_flagfile={flags}")
    return words


def record(program):
    """Runs a program without a fault; answers its groups of tests."""
    with tempfile.TemporaryDirectory() as folder:
        reached = pathlib.Path(folder) / "reached"
        notes = pathlib.Path(folder) / "notes"
        reached.write_bytes(bytes(MOST))
        notes.touch()
        began = time.monotonic()
        for attempt in (1, 2):
            with open(pathlib.Path(folder) / "output", "w+", encoding="utf-8",
                      errors="replace") as output:
                status = run(command_of(program, [], folder),
                             {"MUTANTS_REACHED": str(reached), "MUTANTS_NOTES": str(notes)},
                             900, output)
                if status == 0:
                    break
                output.seek(0)
                tail = output.read()[-3000:]
            if attempt == 2:
                sys.exit(f"{program} fails without a fault: {status}\n{tail}")
        if program.startswith("fuzz_"):
            numbers = {i for i, byte in enumerate(reached.read_bytes()) if byte}
            return [Group(program, {program: ((time.monotonic() - began) * 1000, numbers)})]
        quick, slow = {}, {}
        for line in notes.read_text().splitlines():
            name, milliseconds, numbers = line.split("\t")
            group = quick if int(milliseconds) <= QUICK_TEST_MS else slow
            group[name] = (int(milliseconds), set(map(int, numbers.split())))
        return [Group(program, tests) for tests in (quick, slow) if tests]


def record_all(build, workers):
    """The groups of all programs; a program that did not change is not run again."""
    kept = BUILD / "record.pickle"
    known = pickle.loads(kept.read_bytes()) if kept.is_file() else {}
    groups, stale = {}, []
    for program in programs(build):
        stamp = (BUILD / "bin" / program).stat().st_mtime_ns, newest_daemon()
        if program in known and known[program][0] == stamp:
            groups[program] = known[program]
        else:
            stale.append((program, stamp))
    with concurrent.futures.ThreadPoolExecutor(workers) as pool:
        for (program, stamp), its in zip(stale, pool.map(record, [p for p, _ in stale])):
            groups[program] = (stamp, its)
    kept.write_bytes(pickle.dumps(groups))
    return [group for _, its in groups.values() for group in its]


def newest_daemon():
    """When the last of the programs that tests start was built."""
    return max(path.stat().st_mtime_ns for path in (BUILD / "bin").iterdir()
               if not path.name.startswith(("test_", "fuzz_", "bench_")))


@dataclasses.dataclass
class Verdict:
    how: str          # killed, time, survived, not reached
    by: str = ""      # the program, and the first test that failed
    seconds: float = 0

    def is_kill(self):
        return self.how in ("killed", "time")


def judge(number, groups):
    """Meets one mutant with the tests that come by it."""
    reaching = sorted((group for group in groups if group.reaching(number)),
                      key=lambda group: group.milliseconds(number))
    began = time.monotonic()
    for group in reaching:
        with tempfile.TemporaryDirectory() as folder, \
                open(pathlib.Path(folder) / "output", "w+", encoding="utf-8",
                     errors="replace") as output:
            patience = SECONDS_MORE + TIMES_LONGER * group.milliseconds(number) / 1000
            status = run(command_of(group.program, group.reaching(number), folder),
                         {"MUTANT": str(number)}, patience, output)
            if status == 0:
                continue
            output.seek(0)
            failed = re.search(r"^\[  FAILED  \] (\S+?),? ", output.read() + " ", re.MULTILINE)
            by = group.program + (f" {failed.group(1)}" if failed else "")
            return Verdict("time" if status is None else "killed", by, time.monotonic() - began)
    return Verdict("survived" if reaching else "not reached", "", time.monotonic() - began)


FAILED = re.compile(r"^\[  FAILED  \] ([^\s,]+/?[^\s,]*)", re.MULTILINE)


def found_by(number, groups):
    """{program: how many of its tests find a fault}."""
    finders = collections.Counter()
    for group in groups:
        tests = group.reaching(number)
        if not tests:
            continue
        with tempfile.TemporaryDirectory() as folder, \
                open(pathlib.Path(folder) / "output", "w+", encoding="utf-8",
                     errors="replace") as output:
            patience = SECONDS_MORE + TIMES_LONGER * group.milliseconds(number) / 1000
            status = run(command_of(group.program, tests, folder, True),
                         {"MUTANT": str(number)}, patience, output)
            output.seek(0)
            failed = set(FAILED.findall(output.read()))
            if status != 0:
                finders[group.program] += max(1, len(failed))
    return finders


def tell_of_planted(planted, groups, workers):
    """Prints which tests find each; answers those that none finds."""
    with concurrent.futures.ThreadPoolExecutor(workers) as pool:
        found = dict(zip(planted, pool.map(lambda n: found_by(n, groups), planted)))
    for number, mutant in planted.items():
        tests = ", ".join(f"{count} of {program}" for program, count in found[number].items())
        print(f"{mutant.change}: {tests or 'found by none'}")
    return [f"found by none: {described(m)}" for n, m in planted.items() if not found[n]]


def judge_all(mutants, groups, workers, quick_only):
    """First by the tests that are quick, then what is left by the others."""
    verdicts = {}

    def one(number, asked, is_last):
        verdict = judge(number, asked)
        before = verdicts.get(number)
        if before is not None and verdict.how == "not reached":
            verdict = before
        with LOCK:
            verdicts[number] = verdict
            if verdict.how == "time" or (is_last and not verdict.is_kill()):
                print(f"{verdict.how}: {described(mutants[number])} ({verdict.seconds:.0f} s, "
                      f"{verdict.by})", flush=True)
            done = sum(v.is_kill() for v in verdicts.values())
            if len(verdicts) % 50 == 0:
                print(f"... {len(verdicts)} asked, {done} killed", flush=True)

    def is_quick(group):
        return sum(ms for ms, _ in group.tests.values()) <= QUICK_GROUP_MS

    with concurrent.futures.ThreadPoolExecutor(workers) as pool:
        list(pool.map(lambda n: one(n, list(filter(is_quick, groups)), quick_only), mutants))
        if quick_only:
            return verdicts
        left = [n for n in mutants if not verdicts[n].is_kill()]
        print(f"{len(left)} are left for the tests that take longer", flush=True)
        list(pool.map(lambda n: one(n, [g for g in groups if not is_quick(g)], True), left))
    return verdicts


# ---- Telling


def described(mutant):
    return f"{mutant.file}:{mutant.line}:{mutant.column}: {mutant.change}: {mutant.code}"


def table(mutants, verdicts, explained):
    print(f"\n{'room':16} {'mutants':>8} {'killed':>8} {'by time':>8} {'survived':>9} "
          f"{'explained':>10} {'killed':>8}")
    rooms = collections.defaultdict(list)
    for number, mutant in mutants.items():
        rooms[room_of(mutant.file)].append(number)
    for room, numbers in [*sorted(rooms.items()), ("all", list(mutants))]:
        hows = collections.Counter(verdicts[n].how for n in numbers)
        left = hows["survived"] + hows["not reached"]
        known = sum(not verdicts[n].is_kill() and mutants[n].key() in explained
                    for n in numbers)
        killed = hows["killed"] + hows["time"]
        print(f"{room:16} {len(numbers):8} {killed:8} {hows['time']:8} {left:9} {known:10} "
              f"{100 * killed / len(numbers):7.1f}%")


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=500)
    parser.add_argument("--room")
    parser.add_argument("--at")
    parser.add_argument("--tests", default="", help="only programs whose names have this in them")
    parser.add_argument("--always", action="store_true")
    parser.add_argument("--again", action="store_true")
    parser.add_argument("--planted", action="store_true")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--workers", type=int, default=os.cpu_count())
    return parser.parse_args(namespace=OPTIONS)


def main(options):
    build = MutatedBuild("mutation")
    generate(build)
    searched = sources(build, options)
    with concurrent.futures.ProcessPoolExecutor(options.workers) as pool:
        found = [m for its in pool.map(mutants_of_file, searched.items()) for m in its]
    mutants = draw(found, options)
    kept = BUILD / "survived.json"
    print(f"{len(found)} mutants are possible; {len(mutants)} of this run")
    if options.list:
        for mutant in mutants.values():
            print(described(mutant))
        return 0
    wrong = compile_all(build, mutants)
    print(f"{wrong} do not compile; {len(mutants)} are tried", flush=True)
    planted = {n: m for n, m in mutants.items() if m.kind == "planted"}
    mutants = {n: m for n, m in mutants.items() if m.kind != "planted"}
    if options.again:
        planted = {}
        last = json.loads(kept.read_text())
        mutants = {n: m for n, m in mutants.items() if m.key() in last}
    groups = record_all(build, options.workers)
    problems = tell_of_planted(planted, groups, options.workers)
    if options.planted:
        print("\n".join(problems))
        return 1 if problems else 0
    verdicts = judge_all(mutants, groups, options.workers, options.quick)
    survived = [n for n in mutants if not verdicts[n].is_kill()]
    kept.write_text(json.dumps([mutants[n].key() for n in survived]))
    (BUILD / "killed.txt").write_text("".join(
        f"{described(mutants[n])}\t{verdicts[n].by}\n" for n in mutants if n not in survived))
    explained = {row.rsplit(" | ", 1)[0] for row in read_rows(SURVIVORS)}
    table(mutants, verdicts, explained)
    problems += [f"not explained: {described(mutants[n])}" for n in survived
                if mutants[n].key() not in explained]
    problems += [f"{SURVIVORS.name}: killed: {described(m)}" for n, m in mutants.items()
                 if n not in survived and m.key() in explained]
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(parse_options()))
