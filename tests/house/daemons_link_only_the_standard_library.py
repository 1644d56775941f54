"""Looks which shared libraries the daemons need besides those of the compiler
and of Linux. Usage: daemons_link_only_the_standard_library.py FOLDER"""

import pathlib
import re
import subprocess
import sys

import tree

DAEMONS = ("finder", "policyd")
ALLOWED = re.compile(r"(libstdc\+\+|libm|libgcc_s|libc|ld-linux-[\w-]+)\.so\.\d+")
NEEDED = re.compile(r"\(NEEDED\)\s+Shared library: \[(.+)\]")


def needed_by(program):
    listed = subprocess.run(["readelf", "-d", program], check=True, capture_output=True, text=True)
    return NEEDED.findall(listed.stdout)


def main():
    problems = []
    for daemon in DAEMONS:
        needed = needed_by(pathlib.Path(sys.argv[1]) / daemon)
        if not needed:
            problems.append(f"{daemon}: needs no library at all, which cannot be")
        problems += [f"{daemon}: needs {name}" for name in needed if not ALLOWED.fullmatch(name)]
    return tree.report(problems)


if __name__ == "__main__":
    sys.exit(main())
