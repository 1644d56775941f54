#!/usr/bin/env python3
"""compile_mutated.py COMPILER ARGUMENT...: compiles a source, or what stands for it.

Launches the compiler in a build with faults: sources and headers of that build's
folder `mutated` stand for those of the tree. All others are compiled with the options
of a build without faults, so that a cache of the compiler knows them. Mutated code is
compiled without warnings, and with little optimisation where many are to be.
"""

import os
import pathlib
import re
import shutil
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path.cwd()
MUTATED = BUILD / "mutated"
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def includes_mutated(source):
    """Whether a source includes a mutated header, itself or by another one."""
    seen, waiting = set(), [source]
    while waiting:
        for name in INCLUDE.findall(waiting.pop().read_text(encoding="utf-8")):
            if name in seen:
                continue
            seen.add(name)
            if (MUTATED / name).is_file():
                return True
            waiting += [path for path in (ROOT / name, BUILD / "generated" / name)
                        if path.is_file()]
    return False


def main(command):
    changed = list(command)
    if "-c" in command:
        at = command.index("-c") + 1
        source = pathlib.Path(command[at])
        inside = source.is_relative_to(ROOT) and source.relative_to(ROOT)
        if inside and (MUTATED / inside).is_file():
            changed[at] = str(MUTATED / inside)
            changed.append("-w")
            if "-g0" in command:
                changed.append("-O0")
        if includes_mutated(source):
            changed.insert(1, f"-I{MUTATED}")
            changed.append("-w")
    if shutil.which("ccache"):
        # As cmake/options.cmake has it.
        os.environ.update(CCACHE_DEPEND="1", CCACHE_SLOPPINESS="pch_defines,time_macros")
        changed.insert(0, "ccache")
    os.execvp(changed[0], changed)


if __name__ == "__main__":
    main(sys.argv[1:])
