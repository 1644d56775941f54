"""headers_stand_alone.py BUILD: finds headers that do not compile on their own.

A header with a source of the same name is proved by that source, when it
includes the header first; the others are compiled here, with BUILD's flags.
"""

import concurrent.futures
import json
import os
import pathlib
import shlex
import subprocess
import sys

import includes_point_down
import tree


def flags_of(build):
    """The compiler and the flags of one of BUILD's sources that every source shares."""
    command = json.loads((pathlib.Path(build) / "compile_commands.json").read_text())[0]
    words = shlex.split(command["command"])
    compiler = next(i for i, word in enumerate(words) if word.rsplit("/", 1)[-1] != "ccache")
    shared = [word for word in words[compiler + 1:] if word.startswith(("-I", "-std", "-W", "-f"))]
    return [words[compiler], *shared, "-Wno-pragma-once-outside-header"] \
        if "clang" in words[compiler] else [words[compiler], *shared]


def proved_by_source(header):
    source = pathlib.PurePath(header).with_suffix(".cc")
    if not (tree.ROOT / source).is_file():
        return False
    return includes_point_down.INCLUDE.findall(tree.text(source))[:1] == [header]


def compile_alone(flags, header):
    result = subprocess.run(
        [*flags, "-fsyntax-only", "-DXLOG_MODULE_NAME=\"TEST\"", "-x", "c++", "-"],
        input=f'#include "{header}"\n', capture_output=True, text=True, check=False)
    return f"{header} does not compile alone:\n{result.stderr}" if result.returncode else None


def main(build):
    flags = flags_of(build)
    headers = [header for header in tree.files("*.h") if not proved_by_source(header)]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = pool.map(lambda header: compile_alone(flags, header), headers)
    return tree.report([problem for problem in results if problem])


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
