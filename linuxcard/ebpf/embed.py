"""embed.py OUTPUT FUNCTION=OBJECT...: writes a C++ source whose functions answer the bytes
of objects."""

import pathlib
import sys


def function(name, path):
    data = ",".join(map(str, pathlib.Path(path).read_bytes()))
    return f"""namespace {{
alignas(8) constexpr unsigned char {name}_bytes[] = {{{data}}};
}}
std::span<const unsigned char> classifier_object::{name}() {{
  return {name}_bytes;
}}
"""


def main(output, *objects):
    parts = ['#include "linuxcard/ebpf/classifier_objects.h"\n']
    parts += [function(*described.split("=", 1)) for described in objects]
    pathlib.Path(output).write_text("\n".join(parts), encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
