#!/usr/bin/env python3
"""Real packets through a real kernel while the processes that control it come and go: no
packet that the policy denies passes, and none that it permits is lost.

linuxcard_on_this_kernel.py BIN [RESTARTS]

BIN is where finder, policyd, linuxcard and call_xrl are. Needs root, network namespaces and
BPF; without them it says so and leaves with 77. All that it makes is gone when it ends.
"""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import run_linux_packets as packets  # noqa: E402

SKIPPED = 77
PATIENCE_S = 60
# Modest, so that no socket overflows for want of a processor.
PAUSE_S = 0.0005
PERMITTED, DENIED = 1, 2
CONFIGURATION = "port 1/1/1 = swp-left\nport 1/1/2 = swp-right\nbridge = br0\nhold = 60\n"
POLICY = [
    "create_acl?acl:u32=10&type:u32=0",
    "create_rule?acl:u32=10&rule:u32=20&action:u32=0"
    "&flags:list=:u32=11,:u32=13&values:list=:txt=6,:txt=23",
    "set_port_packet_filter?ifname:txt=1/1/1&acl:u32=10&rule:u32=20",
]


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()


class Switch:
    """Two hosts, a bridge between them, and the processes that make it a switch."""

    def __init__(self, binaries):
        self.bin = pathlib.Path(binaries)
        self.name = f"policyd-test-{os.getpid()}"
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.processes = {}
        self.log = open(self.folder / "log", "wb")

    def __enter__(self):
        (self.folder / "bpf").mkdir()
        run("mount", "-t", "bpf", "bpf", str(self.folder / "bpf"))
        (self.folder / "conf").write_text(CONFIGURATION, encoding="ascii")
        for name in ("switch", "left", "right"):
            run("ip", "netns", "add", f"{self.name}-{name}")
        self.inside("ip", "link", "set", "lo", "up")
        self.inside("ip", "link", "add", "br0", "type", "bridge")
        self.inside("ip", "link", "set", "br0", "up")
        for side in ("left", "right"):
            self.inside("ip", "link", "add", f"swp-{side}", "type", "veth", "peer", "name", "eth0",
                        "netns", f"{self.name}-{side}")
            self.inside("ip", "link", "set", f"swp-{side}", "master", "br0", "up")
            run("nsenter", f"--net={self.namespace(side)}", "ip", "link", "set", "eth0", "up")
        return self

    def __exit__(self, *_):
        for process in self.processes.values():
            process.kill()
            process.wait()
        for name in ("switch", "left", "right"):
            subprocess.run(["ip", "netns", "delete", f"{self.name}-{name}"], check=False,
                           capture_output=True)
        subprocess.run(["umount", str(self.folder / "bpf")], check=False)
        self.log.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def namespace(self, name):
        return f"/run/netns/{self.name}-{name}"

    def inside(self, *command):
        return run("nsenter", f"--net={self.namespace('switch')}", *command)

    def start(self, name):
        arguments = {
            "finder": [],
            "policyd": [],
            "linuxcard": ["--pins", self.folder / "bpf/linuxcard", "--state", self.folder / "state",
                          self.folder / "conf"],
        }[name]
        self.processes[name] = subprocess.Popen(
            ["nsenter", f"--net={self.namespace('switch')}", self.bin / name, *arguments],
            stdout=subprocess.DEVNULL, stderr=self.log)

    def restart(self, name):
        self.processes[name].send_signal(signal.SIGKILL)
        self.processes[name].wait()
        self.start(name)

    def ask(self, request):
        try:
            return self.inside(str(self.bin / "call_xrl"), "-w", f"finder://{request}")
        except subprocess.CalledProcessError as error:
            return error.stderr.strip()

    def until(self, condition, what):
        deadline = time.monotonic() + PATIENCE_S
        while not condition():
            if time.monotonic() > deadline:
                raise TimeoutError(what)
            time.sleep(0.05)

    def configure(self):
        self.until(lambda: self.ask("policy/policy_config/0.1/get_port_cos_value?ifname:txt=1/1/1")
                   == "value:u32=0", "policyd does not know the port")
        for command in POLICY:
            answer = self.ask(f"policy/policy_config/0.1/{command}")
            if answer:
                raise RuntimeError(f"{command}: {answer}")

    def is_in_force(self):
        return (self.ask("linuxcard/linuxcard/0.1/get_policy").startswith("state:txt=following")
                and "acls:list=:u32=10&" in
                self.ask("linuxcard/acl_counters/0.1/get_rule_counters"))


class Traffic:
    """Sends permitted and denied packets in turn, and counts what arrives of each."""

    def __init__(self, switch):
        self.sender = packets.socket_in(switch.namespace("left"))
        self.receiver = packets.socket_in(switch.namespace("right"))
        self.receiver.setsockopt(packets.socket.SOL_SOCKET, 33, 64 << 20)  # SO_RCVBUFFORCE
        self.kinds = [
            packets.ipv4("192.0.2.1", 6, packets.tcp(22, bytes([PERMITTED]))),
            packets.ipv4("192.0.2.1", 6, packets.tcp(23, bytes([DENIED]))),
        ]
        self.sent = 0
        self.arrived = {}
        self.ending = threading.Event()
        self.thread = threading.Thread(target=self.send)
        self.thread.start()

    def send(self):
        while not self.ending.is_set():
            for packet in self.kinds:
                self.sender.send(packet)
            self.sent += 1
            if self.sent % 64 == 0:
                packets.receive(self.receiver, self.arrived, {})
            time.sleep(PAUSE_S)

    def end(self):
        self.ending.set()
        self.thread.join()
        time.sleep(0.3)
        packets.receive(self.receiver, self.arrived, {})
        return self.sent, self.arrived.get(PERMITTED, 0), self.arrived.get(DENIED, 0)


def while_traffic_runs(switch, what, action):
    traffic = Traffic(switch)
    try:
        action()
    finally:
        sent, permitted, denied = traffic.end()
    print(f"{what}: {sent} packets of each kind, {sent - permitted} permitted ones lost, "
          f"{denied} denied ones passed")
    return permitted == sent and denied == 0


def restart_linuxcard(switch, times):
    for _ in range(times):
        switch.restart("linuxcard")
        time.sleep(0.3)
    switch.until(switch.is_in_force, "linuxcard does not follow")


def restart_finder(switch, times):
    for _ in range(times):
        switch.restart("finder")
        time.sleep(0.3)
    switch.until(switch.is_in_force, "linuxcard does not follow")


def restart_policyd(switch, times):
    for _ in range(times):
        switch.restart("policyd")
        switch.configure()
    switch.until(switch.is_in_force, "linuxcard does not follow")


def reason_to_skip():
    if os.geteuid() != 0:
        return "root is needed"
    with tempfile.TemporaryDirectory() as folder:
        if subprocess.run(["mount", "-t", "bpf", "bpf", folder], check=False,
                          capture_output=True).returncode != 0:
            return "the kernel has no BPF file system"
        subprocess.run(["umount", folder], check=False)
    return None


def main(binaries, restarts=3):
    reason = reason_to_skip()
    if reason:
        print(f"skipped: {reason}")
        return SKIPPED
    # What ends this ends it in order, so that nothing is left behind.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    with Switch(binaries) as switch:
        for name in ("linuxcard", "policyd", "finder"):
            switch.start(name)
        switch.configure()
        switch.until(switch.is_in_force, "linuxcard does not follow")
        times = int(restarts)
        right = [
            while_traffic_runs(switch, "nothing happens", lambda: time.sleep(0.5)),
            while_traffic_runs(switch, f"linuxcard killed {times} times",
                               lambda: restart_linuxcard(switch, times)),
            while_traffic_runs(switch, f"finder killed {times} times",
                               lambda: restart_finder(switch, times)),
            while_traffic_runs(switch, f"policyd killed {times} times",
                               lambda: restart_policyd(switch, times)),
        ]
        if not all(right):
            print((switch.folder / "log").read_text(encoding="utf-8", errors="replace")[-4000:])
        return 0 if all(right) else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
