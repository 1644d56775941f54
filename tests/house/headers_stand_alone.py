"""headers_stand_alone.py BUILD: finds headers that do not compile on their own.

A header that a source or a proved header includes before anything else is
proved by the builds that do without precompiled headers, those with sanitizers;
the others are compiled here, with BUILD's flags.
"""

import concurrent.futures
import os
import pathlib
import re
import shutil
import subprocess
import sys

import sources
import tree

FIRST_INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<)', re.MULTILINE)


def flags_of(build):
    """The compiler and the flags of one of BUILD's sources that every source shares."""
    command = next(sources.commands(build))
    shared = [word for word in command.flags_alone()
              if word.startswith(("-I", "-std", "-W", "-f"))]
    if "clang" in command.compiler:
        shared.append("-Wno-pragma-once-outside-header")
    return [command.compiler, *shared]


def proved_by_sources():
    """The headers that are read first of all somewhere."""
    proved = set()
    for source in tree.files("*.cc"):
        path = source
        while path:
            first = FIRST_INCLUDE.search(tree.text(path))
            path = first and first.group(1)
            if not path or path in proved or not (tree.ROOT / path).is_file():
                break
            proved.add(path)
    return proved


def compile_alone(command, folder, header):
    source = folder / f"{header.replace('/', '__')}.cc"
    text = f'#include "{header}"\n'
    if not source.is_file() or source.read_text() != text:
        source.write_text(text)
    result = subprocess.run(
        [*command, "-O0", "-DXLOG_MODULE_NAME=\"TEST\"", "-c", source, "-o", source.with_suffix(".o")],
        capture_output=True, text=True, check=False)
    return f"{header} does not compile alone:\n{result.stderr}" if result.returncode else None


def main(build):
    command = flags_of(build)
    if shutil.which("ccache"):  # which remembers
        command.insert(0, "ccache")
    folder = pathlib.Path(build) / "stand_alone"
    folder.mkdir(exist_ok=True)
    proved = proved_by_sources()
    # Those of cmake/ are compiled alone by every build.
    headers = [header for header in tree.files("*.h")
               if header not in proved and not header.startswith("cmake/")]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = pool.map(lambda header: compile_alone(command, folder, header), headers)
    return tree.report([problem for problem in results if problem])


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
