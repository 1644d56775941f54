"""every_source_is_built.py BUILD: finds sources that no target of BUILD compiles."""

import json
import pathlib
import sys

import tree


def main(build):
    commands = json.loads((pathlib.Path(build) / "compile_commands.json").read_text())
    built = {pathlib.Path(command["file"]).resolve() for command in commands}
    return tree.report([
        f"{source}: no target builds it" for source in tree.files("*.cc")
        if tree.ROOT / source not in built])


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
