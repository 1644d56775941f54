"""Finds sources that clang-format would write otherwise."""

import subprocess
import sys

import tree


def main():
    return subprocess.run(
        ["clang-format", "--dry-run", "-Werror", *tree.files("*.h", "*.cc")],
        cwd=tree.ROOT, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
