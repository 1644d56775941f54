"""What a build compiles, source by source, though it may compile several as one."""

import json
import pathlib
import re
import shlex

import tree

# What only matters to g++ and to sources that are compiled as one.
OF_THIS_BUILD = ("-Winvalid-pch", "-Wno-subobject-linkage")
UNITED = re.compile(r'^#include "([^"]+)"$', re.MULTILINE)


class Command:
    """How `source` is compiled: the compiler and its flags, without -c, -o and the source, and
    the object file, which others may be part of."""

    def __init__(self, source, entry):
        self.source = source
        words = shlex.split(entry["command"])
        at = next(i for i, word in enumerate(words) if word.rsplit("/", 1)[-1] != "ccache")
        output = words.index("-o")
        self.object = words[output + 1]
        self.compiler, self.flags = words[at], words[at + 1:output]

    def flags_alone(self):
        """Those of the source by itself, without precompiled headers."""
        flags = [word for word in self.flags if word not in OF_THIS_BUILD]
        while "-include" in flags:
            at = flags.index("-include")
            del flags[at:at + 2]
        return flags


def commands(build):
    """A Command for each source that BUILD compiles, once for each target."""
    build = pathlib.Path(build).resolve()
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["file"]).resolve()
        if source.parent == build / "unity":
            for part in UNITED.findall(source.read_text()):
                yield Command(tree.ROOT / part, entry)
        else:
            yield Command(source, entry)
