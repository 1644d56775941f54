"""every_source_is_built.py BUILD: finds sources that no target of BUILD compiles."""

import sys

import sources
import tree


def main(build):
    built = {command.source for command in sources.commands(build)}
    return tree.report([
        f"{source}: no target builds it" for source in tree.files("*.cc")
        if tree.ROOT / source not in built])


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
