"""Leaves each member that an entry kind has out of the made-up one, in turn, and fails
when what is left compiles."""

import argparse
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys


def required_members(header):
    """The members of EntryFacts, and the functions that every kind has."""
    facts = re.search(r"struct EntryFacts \{(.*?)\n\};", header, re.DOTALL).group(1)
    facts = re.sub(r"//[^\n]*", "", facts)
    members = [each.strip() for each in facts.split(";") if each.strip()]
    lax = [each for each in members if not each.startswith("Required<")]
    if lax:
        sys.exit(f"members that an initializer need not name: {lax}")
    names = [re.search(r"(\w+)$", each).group(1) for each in members]
    functions = re.findall(r"virtual \w+ (\w+)\([^)]*\) const = 0;", header)
    if len(names) < 10 or len(functions) < 2:
        sys.exit("the members of an entry kind were not found")
    return names, functions


def without_member(source, name):
    return re.sub(rf"\n    \.{name} = .*?(?=\n    \.|\n\}}\))", "", source, count=1,
                  flags=re.DOTALL)


def without_function(source, name):
    return re.sub(rf"\n  [^\n]*\b{name}\([^)]*\) const override \{{.*?\}}(?=\n)", "", source,
                  count=1, flags=re.DOTALL)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("compiler")
    parser.add_argument("root", type=pathlib.Path)
    arguments = parser.parse_args()
    header = (arguments.root / "tools/policyctl/language/entry_kind.h").read_text()
    source = pathlib.Path(__file__).with_name("made_up_entry.cc").read_text()
    members, functions = required_members(header)
    variants = {"nothing": source}
    variants |= {name: without_member(source, name) for name in members}
    variants |= {name: without_function(source, name) for name in functions}

    def compiles(text):
        command = [arguments.compiler, "-std=c++20", "-fsyntax-only", f"-I{arguments.root}",
                   "-x", "c++", "-"]
        return subprocess.run(command, input=text, text=True, capture_output=True).returncode == 0

    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        compiled = dict(zip(variants, pool.map(compiles, variants.values())))
    problems = [] if compiled.pop("nothing") else ["with all members it does not compile"]
    for name, does in compiled.items():
        if variants[name] == source:
            problems.append(f"{name}: the made-up kind does not have it")
        elif does:
            problems.append(f"{name}: without it the made-up kind compiles")
    print("\n".join(problems) or f"each of {len(compiled)} members is needed")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
