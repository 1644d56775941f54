"""Finds includes that point up or sideways between the layers, includes of
project headers that are not written by their path from the root, and what the
daemons include of libraries other than the standard library and Linux."""

import re
import sys

import tree

REQUESTS = ["framework/xrl", "framework/base"]
ROUTER = ["framework/xrl/router", *REQUESTS]
PLATFORM = ["platform", *ROUTER]
# What each folder may include, besides itself; a folder within another comes first.
LAYERS = {
    "framework/base": [],
    "framework/xrl/router": REQUESTS,
    # What requests are made of knows nothing of how they travel.
    "framework/xrl": ["framework/base"],
    "framework/finder": ROUTER,
    "framework/xrlgen": [],
    # What a platform shows to policyd; policyd itself knows only its client side.
    "platform/managers": ["common", *PLATFORM],
    "platform": ROUTER,
    "common": ["framework/base"],
    # What policyd answers, generated for those who ask it as well.
    "policy/interfaces": REQUESTS,
    # What is configured knows nothing of the requests that configure it.
    "policy/store": ["common", "platform", "framework/base"],
    "policy/command": ["policy/store", "policy/interfaces", "common", *PLATFORM],
    "policy": ["policy/command", "policy/store", "common", *ROUTER],
    "chassis": ["common", "platform/managers", *PLATFORM],
    "linuxcard": ["policy/interfaces", "common", "platform/managers", *PLATFORM],
    "tools": ["policy/interfaces", "common", *PLATFORM],
}
# Within policyctl, what each folder may include of the others, from the bottom to
# the top. Its own headers beside them are failure.h, which all may include, and
# those of its main program.
POLICYCTL = "tools/policyctl/"
POLICYCTL_WALLS = {
    "switch": [],
    "language": [],
    "entries": ["switch", "language"],
    "change": ["switch", "language", "entries"],
    "import": ["language", "entries"],
    "render": ["switch", "language", "entries", "change"],
    "commands": ["switch", "language", "entries", "change", "import", "render"],
    "shell": ["switch", "language", "entries", "change", "import", "render", "commands"],
    "command_line": ["switch", "language", "entries", "change", "import", "render", "commands",
                     "shell"],
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
LIBRARY_INCLUDE = re.compile(r"^\s*#\s*include\s+<([^>]+)>", re.MULTILINE)
STANDARD = re.compile(r"[a-z_]+")  # <vector>
LINUX = re.compile(r"(sys|linux|net|netinet|arpa)/\w+\.h"
                   r"|(cxxabi|fcntl|getopt|malloc|netdb|poll|unistd)\.h")
OF_DAEMONS = ("policy/", "platform/", "common/", "framework/")
# Tests and benchmarks may look at everything.
ON_TOP = ("tests/", "bench/")


def layer_of(path):
    return next((layer for layer in LAYERS if path.startswith(layer + "/")), None)


def problem_within_policyctl(source, included):
    if included == POLICYCTL + "failure.h" or source.count("/") == 2:
        return None
    folder, other = source.split("/")[2], included.split("/")[2]
    if folder not in POLICYCTL_WALLS:
        return "comes from a folder of policyctl that has no walls"
    if folder != other and other not in POLICYCTL_WALLS[folder]:
        return f"points from {folder} to {other}"
    return None


def problem_with(source, included):
    target = layer_of(included)
    if source.startswith(ON_TOP):
        return None if target or included.startswith(ON_TOP) else "is no path from the root"
    if target is None:
        return "is no path from the root to a layer's header"
    layer = layer_of(source)
    if layer is None:
        return "comes from a folder that belongs to no layer"
    if target != layer and target not in LAYERS[layer]:
        return f"points from {layer} to {target}"
    if source.startswith(POLICYCTL) and included.startswith(POLICYCTL):
        return problem_within_policyctl(source, included)
    return None


def main():
    problems = []
    for source in tree.files("*.h", "*.cc"):
        for included in INCLUDE.findall(tree.text(source)):
            problem = problem_with(source, included)
            if problem:
                problems.append(f'{source}: #include "{included}" {problem}')
        if not source.startswith(OF_DAEMONS):
            continue
        for included in LIBRARY_INCLUDE.findall(tree.text(source)):
            if not STANDARD.fullmatch(included) and not LINUX.fullmatch(included):
                problems.append(f"{source}: #include <{included}> is of another library")
    return tree.report(problems)


if __name__ == "__main__":
    sys.exit(main())
