"""clang_tidy.py BUILD: runs clang-tidy over the product's sources that BUILD compiles.

Tests and benchmarks are held to the compiler's warnings and the format alone:
they are half of the sources and would make up most of the time.

A source that was clean, in this clone or another of this user's, is skipped as
long as nothing it is made of changed: itself, the project and generated headers it
includes, its compile command, the checks, and clang-tidy. Where the user has no
folder for marks, none is skipped. BUILD must be a Ninja build and up to date, for
its record of included headers is used.
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

import tree

PRODUCT = ("framework", "common", "platform", "policy", "chassis", "linuxcard", "tools")

# How far the analyzer follows one function, in states: an eighth of what it
# does by itself, which would make up half of the time.
ANALYZER = "max-nodes=28000"
ARGUMENTS = ["--quiet", f"--header-filter=^{tree.ROOT}/({'|'.join(PRODUCT)})/",
             *(f"--extra-arg={word}" for word in ("-Xclang", "-analyzer-config", "-Xclang", ANALYZER))]


def included_files(build):
    """For each object file of BUILD, the files under ROOT or BUILD it was made from."""
    lines = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    deps, current = {}, None
    for line in lines:
        if line.startswith("    "):
            path = build / line.strip()
            if path.is_relative_to(tree.ROOT) or path.is_relative_to(build):
                current.append(path)
        elif ":" in line:
            current = deps.setdefault(line.split(":", 1)[0], [])
    return deps


def folder_for_marks():
    """None where the user can have none."""
    home = os.environ.get("XDG_CACHE_HOME") or os.path.expanduser("~/.cache")
    folder = pathlib.Path(home) / "policyd" / "clang-tidy"
    try:
        folder.mkdir(parents=True, exist_ok=True)
    except OSError:
        return None
    return folder if os.access(folder, os.W_OK | os.X_OK) else None


class Tidy:
    def __init__(self, build):
        self.build = build
        self.cache = folder_for_marks()
        self.deps = included_files(build)
        version = subprocess.run(["clang-tidy", "--version"], check=True, capture_output=True).stdout
        self.common = (version + "".join(map(tree.text, tree.files("*.clang-tidy"))).encode() +
                       self.name(" ".join(ARGUMENTS)))
        self.contents = {}

    def digest(self, path):
        if path not in self.contents:
            self.contents[path] = hashlib.sha256(path.read_bytes()).digest()
        return self.contents[path]

    def name(self, text):
        """The same for every clone and build folder."""
        return text.replace(str(self.build), "BUILD").replace(str(tree.ROOT), "ROOT").encode()

    def mark(self, command):
        key = hashlib.sha256(self.common + self.name(command["command"]))
        key.update(self.digest(pathlib.Path(command["file"])))
        words = shlex.split(command["command"])
        for path in self.deps.get(words[words.index("-o") + 1], []):
            key.update(self.name(str(path)) + self.digest(path))
        return self.cache / key.hexdigest()

    def run(self, command):
        """What clang-tidy has to say about the source, or None when it is clean."""
        mark = self.mark(command) if self.cache else None
        if mark and mark.exists():
            return None
        result = subprocess.run(
            ["clang-tidy", "-p", self.build, *ARGUMENTS, command["file"]],
            capture_output=True, text=True, check=False)
        if result.returncode == 0:
            if mark:
                mark.touch()
            return None
        return result.stdout + result.stderr


def main(build):
    build = pathlib.Path(build).resolve()
    own = {tree.ROOT / path for path in tree.files("*.cc")
           if pathlib.Path(path).parts[0] in PRODUCT}
    commands = [command
                for command in json.loads((build / "compile_commands.json").read_text())
                if pathlib.Path(command["file"]).resolve() in own]
    tidy = Tidy(build)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = pool.map(tidy.run, commands)
    return tree.report([problem for problem in results if problem])


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
