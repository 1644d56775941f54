"""Finder, chassis and policyd as real processes, and policyctl beside them."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

import pexpect

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from patience import PATIENCE_S

SWITCH = """{
  "interfaces": [{"name": "eth-0/3/1"}, {"name": "eth-0/3/2"},
                 {"name": "lag1", "members": ["eth-0/3/2"]}],
  "vlans": [20, 30],
  "cards": [19]}"""


class ControlPlane:
    """Runs from construction to end(); the state of policyctl is its own."""

    def __init__(self, bin_directory):
        self.bin = pathlib.Path(bin_directory).resolve()
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="policyctl-test-"))
        self.processes = []
        os.environ.pop("XRL_COOKIE_FILE", None)  # the caller's, of another switch
        self.environment = dict(os.environ, POLICYCTL_STATE_DIR=str(self.folder / "state"),
                                HOME=str(self.folder), TERM="xterm", LC_ALL="C.UTF-8",
                                PATH=f"{self.bin}:{os.environ['PATH']}")
        (self.folder / "switch.json").write_text(SWITCH, encoding="utf-8")
        try:
            self.start_all()
        except BaseException:
            self.end()
            raise

    def start_all(self):
        self.finder = self.start("finder", "-p", "0").rsplit(" ", 1)[1]
        self.start("chassis", "-F", self.finder, str(self.folder / "switch.json"))
        self.start_quietly("policyd", "-F", self.finder)
        for name in "eth-0/3/1", "eth-0/3/2", "lag1":
            self.await_request(f"get_port_cos_value?ifname:txt={name}")
        for vlan in 20, 30:
            self.await_request(f"get_vlan_packet_filters?vlan:u32={vlan}")

    def start_quietly(self, name, *words):
        process = subprocess.Popen([self.bin / name, *words], stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL, text=True)
        self.processes.append(process)
        return process

    def start(self, name, *words):
        return self.start_quietly(name, *words).stdout.readline().strip()

    def await_request(self, request):
        deadline = time.monotonic() + PATIENCE_S
        command = [self.bin / "call_xrl", "-F", self.finder,
                   f"finder://policy/policy_config/0.1/{request}"]
        while subprocess.run(command, capture_output=True, check=False).returncode != 0:
            if time.monotonic() > deadline:
                raise TimeoutError(request)

    def run(self, *words, stdin=""):
        return subprocess.run([self.bin / "policyctl", "-F", self.finder, "--timeout",
                               str(PATIENCE_S), *words], input=stdin,
                              capture_output=True, text=True, check=False, cwd=self.folder,
                              env=self.environment, timeout=PATIENCE_S)

    def shown(self, *what):
        return self.run("show", "--text", *what).stdout

    def spawn(self, command, words, environment=None):
        """A process at a terminal of 100 columns."""
        return pexpect.spawn(
            str(command), list(words), env=dict(self.environment, **(environment or {})),
            cwd=str(self.folder), timeout=PATIENCE_S, encoding="utf-8", dimensions=(40, 100))

    def end(self):
        for process in reversed(self.processes):
            process.kill()
            process.wait()
            process.stdout.close()
        shutil.rmtree(self.folder)
