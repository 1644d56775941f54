"""programs_are_hardened.py PROGRAM...: reads from the programs themselves whether they were
built as cmake/hardening.cmake says.

What a program was linked with stands in its headers; that the stack is guarded, calls of the
C library are checked and so are those of the standard library, in what it calls for that; and
with which options each of its sources was compiled, in its debug information.
"""

import pathlib
import re
import subprocess
import sys

import tree

# What is looked for in the output of readelf with these options.
LINKED = {
    "-dW": {"is not bound at its start (BIND_NOW)": r"\(FLAGS_1\).*\bNOW\b",
            "runs at a fixed address (no PIE)": r"\(FLAGS_1\).*\bPIE\b"},
    "-lW": {"keeps what the linker resolves writable (no GNU_RELRO)": r"GNU_RELRO",
            "has a stack that can be executed": r"GNU_STACK\s+\S+ \S+ \S+ \S+ \S+ RW "},
    "--dyn-syms -W": {"guards no stack (no __stack_chk_fail)": r"UND __stack_chk_fail\b",
                      "checks no call of the C library (no __*_chk)": r"UND __(?!stack)\w+_chk\b",
                      "checks no use of the standard library (no __glibcxx_assert_fail)":
                          r"UND \w*__glibcxx_assert_fail\w*"},
}
X86 = {"-nW": {"may return to any address (no SHSTK)": r"x86 feature:.*\bSHSTK\b"}}
COMPILED = ("-fstack-protector-strong", "-fstack-clash-protection")
X86_COMPILED = ("-fcf-protection=full",)
SOURCE = re.compile(r"DW_AT_producer\s*:(.*)\n(?:.*\n)??.*DW_AT_name\s*:(.*)")


def read(program, options):
    return subprocess.run(["readelf", *options.split(), program], check=True, capture_output=True,
                          text=True).stdout


def problems_of(program):
    is_x86 = "X86-64" in read(program, "-hW")
    for options, wanted in [*LINKED.items(), *(X86.items() if is_x86 else ())]:
        text = read(program, options)
        yield from (problem for problem, pattern in wanted.items() if not re.search(pattern, text))
    sources = SOURCE.findall(read(program, "--debug-dump=info --dwarf-depth=1 -W"))
    if not sources:
        yield "has no debug information to read its options from"
    for producer, name in sources:
        for option in COMPILED + (X86_COMPILED if is_x86 else ()):
            if option not in producer:
                yield f"{name.split(': ')[-1].strip()} was compiled without {option}"


def main(*programs):
    return tree.report([f"{pathlib.Path(program).name} {problem}"
                        for program in programs for problem in problems_of(program)])


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
