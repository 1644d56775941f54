"""Finds references that a reader of the tree alone cannot follow: chapters of
papers and numbers of tickets that are elsewhere, places on one machine."""

import re
import sys

import tree

DANGLING = re.compile(
    r"\bParts?\s+\d\.\d|\bspec\.md\b|\bthe[ ]spec\b|\bspecificatio[n]\b|\bspecified[ ]in\b"
    r"|\bissue\s+#?\d+|(?<![\w.$}])/(?:work|farm|home|root)/",
    re.IGNORECASE)
# Texts of others, kept as they are.
QUOTED = ("LICENSE", "examples/sources/")


def main():
    problems = []
    for path in tree.files():
        if path.startswith(QUOTED):
            continue
        try:
            lines = tree.text(path).splitlines()
        except UnicodeDecodeError:
            continue
        problems += [f"{path}:{number}: {line.strip()}"
                     for number, line in enumerate(lines, 1)
                     if DANGLING.search(line)]
    return tree.report(problems)


if __name__ == "__main__":
    sys.exit(main())
