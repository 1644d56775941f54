#!/usr/bin/env python3
"""Sends packets of several kinds from one network namespace to another, and prints a
table of how many arrived and what became of their DSCP.

run_linux_packets.py NAMESPACE NAMESPACE
"""

import ctypes
import ipaddress
import os
import socket
import struct
import sys
import time

COUNT = 100
CLONE_NEWNET = 0x40000000
ETH_P_ALL = 3
MARK = b"policyd run --linux "
LIBC = ctypes.CDLL(None, use_errno=True)


def socket_in(namespace):
    """A packet socket on eth0 of the namespace."""
    with open("/proc/self/ns/net", encoding="ascii") as ours, open(namespace, encoding="ascii") as theirs:
        enter(theirs)
        try:
            packet = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ETH_P_ALL))
            packet.bind(("eth0", ETH_P_ALL))
            return packet
        finally:
            enter(ours)


def enter(namespace):
    if LIBC.setns(namespace.fileno(), CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), "setns")


def checksum(data):
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xffff) + (total >> 16)
    return ~total & 0xffff


def frame(ethertype, payload):
    return b"\x02\0\0\0\0\2" + b"\x02\0\0\0\0\1" + struct.pack("!H", ethertype) + payload


def ipv4(source, protocol, payload, fragment=0):
    def head(check):
        return struct.pack("!BBHHHBBH4s4s", 0x45, 0, 20 + len(payload), 7, fragment, 64, protocol,
                           check, ipaddress.ip_address(source).packed,
                           ipaddress.ip_address("192.0.2.2").packed)
    return frame(0x0800, head(checksum(head(0))) + payload)


def ipv6(source, payload):
    return frame(0x86dd, struct.pack("!IHBB", 6 << 28, len(payload), 17, 64) +
                 ipaddress.ip_address(source).packed +
                 ipaddress.ip_address("2001:db8::2").packed + payload)


def udp(port, kind):
    data = MARK + kind
    return struct.pack("!HHHH", 4000, port, 8 + len(data), 0) + data


def tcp(port, kind):
    return struct.pack("!HHIIBBHHH", 4000, port, 1, 0, 0x50, 2, 1024, 0, 0) + MARK + kind


# What is sent, and the rule that decides.
KINDS = [
    ("UDP to port 53", "none matches", lambda k: ipv4("192.0.2.1", 17, udp(53, k)), True),
    ("from 10.66.1.1", "deny, acl 10 rule 10", lambda k: ipv4("10.66.1.1", 17, udp(53, k)), False),
    ("TCP to port 23", "deny, acl 10 rule 20", lambda k: ipv4("192.0.2.1", 6, tcp(23, k)), False),
    ("TCP to port 22", "none matches", lambda k: ipv4("192.0.2.1", 6, tcp(22, k)), True),
    ("UDP to port 137", "deny, acl 10 rule 30", lambda k: ipv4("192.0.2.1", 17, udp(137, k)), False),
    ("UDP to port 140", "none matches", lambda k: ipv4("192.0.2.1", 17, udp(140, k)), True),
    ("a later fragment", "deny, acl 10 rule 40",
     lambda k: ipv4("192.0.2.1", 17, udp(53, k), fragment=185), False),
    ("UDP to port 5060", "DSCP 46, acl 10 rule 50", lambda k: ipv4("192.0.2.1", 17, udp(5060, k)), True),
    ("from 2001:db8:66::1", "deny, acl 10 rule 60", lambda k: ipv6("2001:db8:66::1", udp(53, k)), False),
    ("from 2001:db8:67::1", "none matches", lambda k: ipv6("2001:db8:67::1", udp(53, k)), True),
]


def receive(packet, arrived, dscps):
    packet.setblocking(False)
    while True:
        try:
            data = packet.recv(2048)
        except BlockingIOError:
            return
        at = data.find(MARK)
        if at < 0:
            continue
        kind = data[at + len(MARK)]
        arrived[kind] = arrived.get(kind, 0) + 1
        if data[12:14] == b"\x08\x00":
            dscps.setdefault(kind, set()).add(data[15] >> 2)


def main(left, right):
    sender, receiver = socket_in(left), socket_in(right)
    receiver.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4 << 20)
    arrived, dscps = {}, {}
    for number, (_, _, make, _) in enumerate(KINDS):
        packet = make(bytes([number]))
        for _ in range(COUNT):
            sender.send(packet)
        time.sleep(0.02)
        receive(receiver, arrived, dscps)
    time.sleep(0.2)
    receive(receiver, arrived, dscps)
    print(f"{'what':20} {'the rule':24} {'sent':>5} {'arrived':>7}  DSCP")
    wrong = 0
    for number, (what, rule, _, passes) in enumerate(KINDS):
        count = arrived.get(number, 0)
        marks = " ".join(str(dscp) for dscp in sorted(dscps.get(number, ())))
        print(f"{what:20} {rule:24} {COUNT:5} {count:7}  {marks}")
        wrong += count != (COUNT if passes else 0)
    if wrong:
        print(f"{wrong} of them are not as the rules say")
    return 1 if wrong else 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
