"""The files of the source tree, as the house rules see them."""

import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]


def files(*patterns):
    """Paths of tracked files, relative to ROOT, that match one of the patterns."""
    listed = subprocess.run(
        ["git", "ls-files", "-z", "--", *patterns],
        cwd=ROOT, check=True, capture_output=True, text=True).stdout
    return [path for path in listed.split("\0") if path and (ROOT / path).is_file()]


def text(path):
    return (ROOT / path).read_text(encoding="utf-8")


def report(problems):
    """The exit status of a rule, once it has said what it found."""
    for problem in problems:
        print(problem)
    print(f"{len(problems)} problem(s)")
    return 1 if problems else 0
