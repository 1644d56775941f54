#!/usr/bin/python3 -B
"""Plants reads past the end, one at a time, and tells when a fuzz target sees each.

  tests/mutation/plant_over_reads.py              each one, for a minute at most
  tests/mutation/plant_over_reads.py --seconds 10 --runs 3
  tests/mutation/plant_over_reads.py --check      only whether they can still be planted

Told are the seconds and, in brackets, those of the processor. The status is 1 when one
was not found in time.
"""

import argparse
import dataclasses
import resource
import subprocess
import sys
import tempfile
import time

from mutated_build import MutatedBuild, ROOT


@dataclasses.dataclass(frozen=True)
class OverRead:
    what: str
    file: str
    code: str
    instead: str
    target: str


PLANTED = (
    OverRead("a list's name length one short", "framework/xrl/wire_form.cc",
             "if (room(at, end) < head_bytes)", "if (room(at, end) + 1 < head_bytes)", "args_codec"),
    OverRead("a fixed-size value one short, where all are read", "framework/xrl/wire_form.cc",
             "if (room(at, end) < bytes)", "if (room(at, end) + 1 < bytes)", "args_codec"),
    OverRead("a list's bytes one short", "framework/xrl/wire_form.cc",
             "head.length > room(first, end)", "head.length > room(first, end) + 1", "args_codec"),
    OverRead("a fixed-size value one short, where it is asked for", "framework/xrl/xrl_args_codec.h",
             ">= head.bytes() + value_bytes &&",
             ">= head.bytes() + value_bytes - 1 &&", "typed_arguments"),
    OverRead("a text one short, where it is asked for", "framework/xrl/xrl_args_codec.h",
             "(_end - value))", "(_end - value) + 1)", "typed_arguments"),
    OverRead("a hello's text one short", "framework/xrl/router/xrl_frame.cc",
             "bytes.size() - 1 < bytes[0]", "bytes.size() < bytes[0]", "handshake"),
    OverRead("a hello taken four bytes early", "framework/xrl/router/xrl_connection.cc",
             "bytes.size() - at - xrl_frame::LENGTH_BYTES < length", "bytes.size() - at < length",
             "handshake"),
    OverRead("a frame taken four bytes early", "framework/xrl/router/xrl_connection.cc",
             "bytes.size() - at - xrl_frame::LENGTH_BYTES < length", "bytes.size() - at < length",
             "frame_decoder"),
    OverRead("a fixed-size value one short, in a frame", "framework/xrl/xrl_args_codec.h",
             ">= head.bytes() + value_bytes &&",
             ">= head.bytes() + value_bytes - 1 &&", "frame_decoder"),
)


def planted(over_read):
    """The source with it in; it must stand there once."""
    text = (ROOT / over_read.file).read_text()
    if text.count(over_read.code) != 1:
        sys.exit(f"{over_read.what}: {over_read.file} has '{over_read.code}' "
                 f"{text.count(over_read.code)} times")
    return text.replace(over_read.code, over_read.instead)


def processor_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def fuzz(build, target, seconds, seed):
    """How long it took until a finding, in seconds and in those of the processor."""
    with tempfile.TemporaryDirectory() as folder:
        began, used = time.monotonic(), processor_seconds()
        result = subprocess.run(
            [build.folder / "bin" / f"fuzz_{target}", f"-max_total_time={seconds}",
             f"-seed={seed}", f"-artifact_prefix={folder}/", folder,
             ROOT / "tests/fuzz/corpus" / target], capture_output=True, check=False)
        if result.returncode == 0:
            return "not found"
        return f"{time.monotonic() - began:.1f} ({processor_seconds() - used:.1f})"


def main(options):
    sources = [planted(over_read) for over_read in PLANTED]
    if options.check:
        return 0
    build = MutatedBuild("planted")
    missed = 0
    for over_read, source in zip(PLANTED, sources):
        if options.target not in (None, over_read.target):
            continue
        build.plant({over_read.file: source.encode()})
        build.build([f"fuzz_{over_read.target}"])
        times = [fuzz(build, over_read.target, options.seconds, seed + 1)
                 for seed in range(options.runs)]
        missed += times.count("not found")
        print(f"{over_read.what:54} {over_read.target:16} {', '.join(times)}", flush=True)
    build.plant({})
    return 1 if missed else 0


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--runs", type=int, default=1)
    parser.add_argument("--target", help="only those that this fuzz target is to find")
    parser.add_argument("--check", action="store_true")
    return parser.parse_args()


if __name__ == "__main__":
    sys.exit(main(parse_options()))
