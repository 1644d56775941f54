"""clang_tidy.py BUILD: runs clang-tidy over the product's sources that BUILD compiles.

Tests and benchmarks are held to the compiler's warnings and the format alone:
they are half of the sources and would make up most of the time.

A source that was clean is skipped as long as nothing it is made of changed: itself,
every project and generated header it includes, the system headers' dates, its flags, the
checks, and clang-tidy. The marks lie in build/clang-tidy.

Most of the time goes into reading the same headers again, so that sources with the same
flags are looked at several at a time, one behind the other in one file: the
analyzer would pass over what that only includes. Where anything is found, each is looked
at alone, and only what is found then counts. What only a look at one source alone
can find, such as a using-declaration that only a neighbour uses, is found when that
source is the only one of its flags that changed.
"""

import concurrent.futures
import glob
import hashlib
import os
import pathlib
import re
import subprocess
import sys

import sources
import tree

PRODUCT = ("framework", "common", "platform", "policy", "chassis", "linuxcard", "tools")
AT_A_TIME = 8

# How far the analyzer follows one function, in states: an eighth of what it
# does by itself, which would make up half of the time.
ANALYZER = "max-nodes=28000"
ARGUMENTS = ["--quiet", f"--header-filter=^{tree.ROOT}/({'|'.join(PRODUCT)})/",
             *(f"--extra-arg={word}" for word in ("-Xclang", "-analyzer-config", "-Xclang", ANALYZER))]
INCLUDE = re.compile(rb'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)
SYSTEM = ["/usr/local/include", *sorted(glob.glob("/usr/include/c++/*")),
          *sorted(glob.glob("/usr/include/*-linux-gnu")), "/usr/include"]


class Key:
    """What a finding about a source can depend on, as a number; the same in every clone."""

    def __init__(self, build):
        self.build = build
        version = subprocess.run(["clang-tidy", "--version"], check=True, capture_output=True).stdout
        self.common = (version + "".join(map(tree.text, tree.files("*.clang-tidy"))).encode() +
                       self.name(" ".join(ARGUMENTS)))
        self.read = {}

    def name(self, text):
        return text.replace(str(self.build), "BUILD").replace(str(tree.ROOT), "ROOT").encode()

    def file(self, path):
        """The digest of a file's content, and what it includes."""
        if path not in self.read:
            content = path.read_bytes()
            self.read[path] = hashlib.sha256(content).digest(), INCLUDE.findall(content)
        return self.read[path]

    def found(self, includer, quoted):
        """The file that an include in quotes means: the first that is there."""
        folders = includer.parent, tree.ROOT, self.build / "generated"
        return next((folder / quoted for folder in folders if (folder / quoted).is_file()), None)

    def closure(self, source):
        """The files of the project that make up `source`, and the system headers they name."""
        own, system, new = {source}, set(), [source]
        while new:
            path = new.pop()
            for quoted, library in self.file(path)[1]:
                found = self.found(path, quoted.decode()) if quoted else None
                if not found:
                    system.add((quoted or library).decode())
                elif found not in own:
                    own.add(found)
                    new.append(found)
        return sorted(own), sorted(system)

    def of(self, command):
        key = hashlib.sha256(self.common + self.name(" ".join(command.flags_alone())))
        own, system = self.closure(command.source)
        for path in own:
            key.update(self.name(str(path)) + self.file(path)[0])
        for header in system:
            for folder in SYSTEM:
                path = pathlib.Path(folder, header)
                if path.is_file():
                    key.update(f"{path} {path.stat().st_mtime_ns} {path.stat().st_size}".encode())
        return key.hexdigest()


class Tidy:
    def __init__(self):
        self.folder = tree.ROOT / "build" / "clang-tidy"
        self.folder.mkdir(parents=True, exist_ok=True)

    def is_clean(self, key):
        return (self.folder / key).exists()

    def look(self, file, command, *options):
        return subprocess.run(
            ["clang-tidy", *ARGUMENTS, *options, file, "--", *command.flags_alone()],
            capture_output=True, text=True, check=False)

    def alone(self, key, command):
        """What clang-tidy has to say about the source, or None when it is clean."""
        result = self.look(command.source, command)
        if result.returncode != 0:
            return result.stdout + result.stderr
        (self.folder / key).touch()
        return None

    def together(self, group):
        """What clang-tidy has to say about the sources of `group`, pairs of key and command."""
        if len(group) > 1:
            file = self.folder / f"{group[0][0]}.cc"
            file.write_bytes(b"\n".join(command.source.read_bytes() for _, command in group))
            result = self.look(file, group[0][1], "--checks=-readability-duplicate-include")
            file.unlink()
            if result.returncode == 0:
                for key, _ in group:
                    (self.folder / key).touch()
                return []
        return [self.alone(key, command) for key, command in group]


def groups(changed):
    """`changed`, pairs of key and command, in groups of the same flags. Many small ones
    keep all processors busy to the end."""
    alike = {}
    for key, command in changed:
        alike.setdefault(tuple(command.flags_alone()), []).append((key, command))
    # A look at several cannot tell who includes a file twice.
    for key, command in changed:
        includes = INCLUDE.findall(command.source.read_bytes())
        if len(set(includes)) < len(includes):
            alike[tuple(command.flags_alone())].remove((key, command))
            yield [(key, command)]
    for members in alike.values():
        count = -(-len(members) // AT_A_TIME)
        for i in range(count):
            yield members[len(members) * i // count:len(members) * (i + 1) // count]


def main(build):
    build = pathlib.Path(build).resolve()
    own = {tree.ROOT / path for path in tree.files("*.cc")
           if pathlib.Path(path).parts[0] in PRODUCT}
    keys, tidy = Key(build), Tidy()
    changed = {}
    for command in sources.commands(build):
        if command.source in own:
            key = keys.of(command)
            if not tidy.is_clean(key):
                changed[key] = command
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = [problem for found in pool.map(tidy.together, groups(list(changed.items())))
                   for problem in found]
    return tree.report([problem for problem in results if problem])


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
