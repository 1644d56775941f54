#!/usr/bin/env python3
"""From the answer of a changed command to the first packet that obeys it, with a list of
9,773 ClassBench rules in front of the rule that is bound and released again.

    bench/linuxcard_change.py build/release/bin [CHANGES]

Needs root; makes two hosts and a switch in network namespaces of their own and removes
them. Prints the time of each change, and what processor time linuxcard and policyd took
for one.
"""

import os
import pathlib
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(ROOT / "tests/linux"), str(ROOT / "tools")]
import linuxcard_on_this_kernel as linux  # noqa: E402
import run_linux_packets as packets  # noqa: E402

RULES = ROOT / "examples/classbench-acl1-10k.rules"
PATIENCE_S = 5
ANSWER_S = 0.002
COMMANDS = "finder://policy/policy_config/0.1/"


class Pipe:
    """Requests to policyd without starting a process for each."""

    def __init__(self, switch):
        self.process = subprocess.Popen(
            ["nsenter", f"--net={switch.namespace('switch')}", switch.bin / "call_xrl", "-"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)

    def ask(self, request):
        self.process.stdin.write(request + "\n")
        return self.process.stdout.readline().strip()

    def end(self):
        self.process.stdin.close()
        self.process.wait()


def bind_rules(switch, pipe):
    requests = subprocess.run([switch.bin / "classbench2xrl", "--acl", "20", RULES], check=True,
                              capture_output=True, text=True).stdout.splitlines()
    for request in requests:
        pipe.ask(request)
    # The last one matches every packet.
    count = len(requests) - 2
    for rule in range(1, count + 1):
        pipe.ask(f"{COMMANDS}set_port_packet_filter?ifname:txt=1/1/1&acl:u32=20&rule:u32={rule}")
    pipe.ask(f"{COMMANDS}create_acl?acl:u32=10&type:u32=0")
    pipe.ask(f"{COMMANDS}create_rule?acl:u32=10&rule:u32=20&action:u32=0"
             "&flags:list=:u32=11,:u32=13&values:list=:txt=17,:txt=23")
    return count


def passes(sender, receiver, packet):
    sender.send(packet)
    receiver.settimeout(ANSWER_S)
    try:
        while packets.MARK not in receiver.recv(2048):
            pass
        return True
    except (TimeoutError, BlockingIOError):
        return False


def processor_ms(process):
    stat = pathlib.Path(f"/proc/{process.pid}/stat").read_text(encoding="ascii")
    fields = stat.rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) * 1000 / os.sysconf("SC_CLK_TCK")


def change(pipe, command, is_obeyed):
    pipe.ask(f"{COMMANDS}{command}_port_packet_filter?ifname:txt=1/1/1&acl:u32=10&rule:u32=20")
    begin = time.monotonic()
    while not is_obeyed():
        if time.monotonic() - begin > PATIENCE_S:
            raise TimeoutError(f"{command} is not obeyed")
    return (time.monotonic() - begin) * 1000


def measure(switch, changes):
    pipe = Pipe(switch)
    count = bind_rules(switch, pipe)
    time.sleep(3)
    sender = packets.socket_in(switch.namespace("left"))
    receiver = packets.socket_in(switch.namespace("right"))
    packet = packets.ipv6("2001:db8::9", packets.udp(23, bytes([1])))
    before = {name: processor_ms(switch.processes[name]) for name in ("linuxcard", "policyd")}
    times = []
    for _ in range(changes):
        times.append(change(pipe, "set", lambda: not passes(sender, receiver, packet)))
        time.sleep(0.1)
        times.append(change(pipe, "delete", lambda: passes(sender, receiver, packet)))
        time.sleep(0.1)
    print(f"{count} rules, load {os.getloadavg()[0]:.1f}: {statistics.median(times):.0f} ms to the "
          f"packet in the median of {len(times)}, {min(times):.0f} to {max(times):.0f}")
    for name, begin in before.items():
        used = (processor_ms(switch.processes[name]) - begin) / len(times)
        print(f"{name}: {used:.1f} ms of processor time a change")
    pipe.end()


def main(binaries, changes="10"):
    reason = linux.reason_to_skip()
    if reason:
        sys.exit(f"skipped: {reason}")
    with linux.Switch(binaries) as switch:
        for name in ("linuxcard", "policyd", "finder"):
            switch.start(name)
        switch.until(lambda: switch.ask(
            "policy/policy_config/0.1/get_port_cos_value?ifname:txt=1/1/1") == "value:u32=0",
                     "policyd does not know the port")
        measure(switch, int(changes))


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    main(*sys.argv[1:])
