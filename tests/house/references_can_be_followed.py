"""Finds references that a reader of the tree alone cannot follow: chapters of
papers and numbers of tickets that are elsewhere, places on one machine, and
programs in documents that nothing builds."""

import re
import sys

import tree

DANGLING = re.compile(
    r"\bParts?\s+\d\.\d|\bspec\.md\b|\bthe[ ]spec\b|\bspecificatio[n]\b|\bspecified[ ]in\b"
    r"|\bissue\s+#?\d+|(?<![\w.$}])/(?:work|farm|home|root)/",
    re.IGNORECASE)
# Texts of others, kept as they are.
QUOTED = ("LICENSE", "examples/sources/")
PROGRAM = re.compile(r"\bbuild/\w+/bin/(\w+)")
BUILDS = re.compile(r"\b(add_executable|policyd_unit_test|policyd_fuzz_target|policyd_benchmark)"
                    r"\(\s*(\w+)")
PREFIX = {"policyd_unit_test": "test_", "policyd_fuzz_target": "fuzz_"}


def programs():
    """The names of all that is built."""
    return {PREFIX.get(kind, "") + name
            for path in tree.files("CMakeLists.txt", "*/CMakeLists.txt")
            for kind, name in BUILDS.findall(tree.text(path))}


def names_what_is_not_built(path, line, known):
    return path.endswith(".md") and not known.issuperset(PROGRAM.findall(line))


def main():
    problems = []
    known = programs()
    for path in tree.files():
        if path.startswith(QUOTED):
            continue
        try:
            lines = tree.text(path).splitlines()
        except UnicodeDecodeError:
            continue
        problems += [f"{path}:{number}: {line.strip()}"
                     for number, line in enumerate(lines, 1)
                     if DANGLING.search(line) or names_what_is_not_built(path, line, known)]
    return tree.report(problems)


if __name__ == "__main__":
    sys.exit(main())
