"""documented_dialogue.py DOCUMENT --bin DIRECTORY: does what a document shows.

Every ```console block of DOCUMENT is carried out from the root of the tree:
lines after "$ " are commands (a backslash at the end continues one), the lines
below a command are what it must print, standard error included and blanks at
the end of a line aside. "..." in them stands for anything, a line of its own for
any number of lines. The programs are taken from DIRECTORY instead of
build/release/bin, and without a path, too. What policyctl keeps is kept in a
folder that goes with the dialogue.

A command that ends in "&" runs beside the following ones until the end of the
document; what is shown below it is awaited. What only asks (get_..., policyctl
show and the like) is repeated until it prints what is shown: what it asks about
may need a moment to arrive, which a person who types gives it.
"""

import argparse
import fcntl
import os
import pathlib
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

import tree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from patience import PATIENCE_S

DOCUMENTED_BIN = "build/release/bin"
ONLY_ASKS = re.compile(r"/get_|^policyctl (show|plan|diff|who-uses|checkpoints)\b")


class Step:
    def __init__(self, line_number, command):
        self.line_number = line_number
        self.command = command
        self.expected = []

    def matches(self, printed):
        pattern = ""
        for line in self.expected:
            pattern += r"(?:.*\n)*?" if line == "..." else \
                ".*".join(re.escape(part) for part in line.rstrip().split("...")) + r" *\n"
        if printed and not printed.endswith("\n"):
            printed += "\n"
        return re.fullmatch(pattern, printed) is not None


def steps_of(document):
    steps, inside, continued = [], False, False
    for number, line in enumerate(tree.text(document).splitlines(), 1):
        if line.startswith("```"):
            inside, continued = line == "```console", False
        elif not inside:
            pass
        elif continued:
            steps[-1].command += "\n" + line
            continued = line.endswith("\\")
        elif line.startswith("$ "):
            steps.append(Step(number, line[2:]))
            continued = line.endswith("\\")
        else:
            steps[-1].expected.append(line)
    return steps


class Shell:
    """Runs the commands and remembers what it left in the background."""

    def __init__(self, bin_directory):
        self.bin = os.path.abspath(bin_directory)
        self.background = []
        self.kept = tempfile.TemporaryDirectory()
        self.environment = {
            **os.environ, "PATH": f"{self.bin}:{os.environ['PATH']}",
            "POLICYCTL_STATE_DIR": self.kept.name}

    def real(self, command):
        command = re.sub(r"^\./run\b", f"./run --bin {self.bin}", command)
        return command.replace(DOCUMENTED_BIN, self.bin)

    def documented(self, printed):
        return printed.replace(self.bin, DOCUMENTED_BIN)

    def start(self, command, output):
        return subprocess.Popen(
            ["bash", "-c", self.real(command)], cwd=tree.ROOT, env=self.environment,
            stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, start_new_session=True)

    def printed_by(self, command):
        with tempfile.TemporaryFile("w+") as output:
            process = self.start(command, output)
            try:
                process.wait(timeout=PATIENCE_S * 3)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
            output.seek(0)
            return self.documented(output.read())

    def run_beside(self, step):
        output = tempfile.NamedTemporaryFile("w+")
        self.background.append((self.start(step.command.rstrip().removesuffix("&"), output), output))
        return until_it_matches(
            step, lambda: self.documented(pathlib.Path(output.name).read_text(encoding="utf-8")))

    def end(self):
        for process, output in self.background:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            output.close()
        self.kept.cleanup()


def until_it_matches(step, look):
    deadline = time.monotonic() + PATIENCE_S
    while True:
        printed = look()
        if step.matches(printed) or time.monotonic() > deadline:
            return printed
        time.sleep(0.05)


def carry_out(document, shell):
    problems = []
    for step in steps_of(document):
        print(f"$ {step.command}", flush=True)
        if step.command.rstrip().endswith("&"):
            printed = shell.run_beside(step)
        elif ONLY_ASKS.search(step.command):
            printed = until_it_matches(
                step, lambda command=step.command: shell.printed_by(command))
        else:
            printed = shell.printed_by(step.command)
        print(printed, end="", flush=True)
        if not step.matches(printed):
            problems.append(f"{document}:{step.line_number}: shown otherwise:\n"
                            + "\n".join(step.expected))
    return problems


def in_a_network_of_its_own():
    """Moves to an empty network, where the finder's usual port is free, if the
    machine lets us; otherwise the port must be free on the machine."""
    alone = ["unshare", "--user", "--map-root-user", "--net"]
    if "--alone" in sys.argv or not shutil.which("unshare"):
        return
    if subprocess.run([*alone, "true"], check=False, stderr=subprocess.DEVNULL).returncode == 0:
        os.execvp(alone[0], [*alone, sys.executable, *sys.argv, "--alone"])


def bring_loopback_up():
    get_flags, set_flags, up = 0x8913, 0x8914, 1
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        name, flags = struct.unpack(
            "16sh", fcntl.ioctl(any_socket, get_flags, struct.pack("16sh", b"lo", 0)))
        fcntl.ioctl(any_socket, set_flags, struct.pack("16sh", name, flags | up))


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("document")
    arguments.add_argument("--bin", required=True)
    arguments.add_argument("--alone", action="store_true", help="the network is ours already")
    options = arguments.parse_args()
    if options.alone:
        bring_loopback_up()
    shell = Shell(options.bin)
    try:
        return tree.report(carry_out(options.document, shell))
    finally:
        shell.end()


if __name__ == "__main__":
    in_a_network_of_its_own()
    sys.exit(main())
