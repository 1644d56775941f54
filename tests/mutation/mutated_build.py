"""A build of the tree in which sources of a folder stand for those of the tree."""

import json
import pathlib
import re
import shlex
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


class IncludeGraph:
    """Which headers a source includes, itself or by another one."""

    def __init__(self, folders):
        self.folders = folders
        self.direct = {}

    def includes(self, file):
        if file not in self.direct:
            path = next((folder / file for folder in self.folders if (folder / file).is_file()),
                        None)
            self.direct[file] = INCLUDE.findall(path.read_text()) if path else []
        return self.direct[file]

    def headers_of(self, file):
        seen, waiting = set(), [file]
        while waiting:
            new = set(self.includes(waiting.pop())) - seen
            seen |= new
            waiting += new
        return seen


class MutatedBuild:
    """The build of a preset whose compiler is launched by compile_mutated.py."""

    def __init__(self, preset):
        self.folder = ROOT / "build" / preset
        self.mutated = self.folder / "mutated"
        if not (self.folder / "build.ninja").is_file():
            subprocess.run(["cmake", "--preset", preset], cwd=ROOT, check=True,
                           stdout=subprocess.DEVNULL)

    def commands(self):
        """[(source by its path from the root or among the generated, words of its command)]"""
        result = []
        for command in json.loads((self.folder / "compile_commands.json").read_text()):
            path = pathlib.Path(command["file"])
            for folder in (self.folder / "generated", ROOT):
                if path.suffix == ".cc" and path.is_relative_to(folder):
                    result.append((str(path.relative_to(folder)), shlex.split(command["command"])))
                    break
        return result

    def include_graph(self):
        return IncludeGraph([ROOT, self.folder / "generated"])

    def targets(self):
        """All that can be built, as lines "TARGET: RULE"."""
        return subprocess.run(["ninja", "-C", self.folder, "-t", "targets", "all"], check=True,
                              capture_output=True, text=True).stdout

    def plant(self, sources):
        """Lets these ({file: bytes}) stand for those of the tree, and no others."""
        before = {str(path.relative_to(self.mutated))
                  for path in self.mutated.rglob("*") if path.is_file()}
        for file in before - sources.keys():
            (self.mutated / file).unlink()
        for file, text in sources.items():
            path = self.mutated / file
            if not path.is_file() or path.read_bytes() != text:
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_bytes(text)
        self._forget_objects(before ^ sources.keys())

    def build(self, targets):
        subprocess.run(["ninja", "-C", self.folder, *targets], check=True,
                       stdout=subprocess.DEVNULL)

    def _forget_objects(self, files):
        """Removes what was compiled of these, which ninja does not know to be old."""
        graph = self.include_graph()
        for file, words in self.commands():
            if file in files or files & graph.headers_of(file):
                (self.folder / words[words.index("-o") + 1]).unlink(missing_ok=True)
