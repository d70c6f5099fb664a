#!/usr/bin/env python3
"""Joins multicast groups, as a receiver does: join_groups.py INTERFACE,GROUP[,SOURCE]...

With sources it asks for these alone; sources written as -SOURCE it asks not to get. Prints "ready" once all groups are
joined and stays a member until it is ended.
"""
import signal
import socket
import struct
import sys
import time

# From <linux/in.h>; Python has no names for them.
MCAST_JOIN_GROUP, MCAST_BLOCK_SOURCE, MCAST_JOIN_SOURCE_GROUP = 42, 43, 46


def sockaddr(address):
    if ":" in address:
        inner = struct.pack("HHI16sI", socket.AF_INET6, 0, 0, socket.inet_pton(socket.AF_INET6, address), 0)
    else:
        inner = struct.pack("HH4s", socket.AF_INET, 0, socket.inet_aton(address))
    return inner.ljust(128, b"\0")


class Membership:
    def __init__(self, interface, group, sources):
        ipv6 = ":" in group
        self.level = socket.IPPROTO_IPV6 if ipv6 else socket.IPPROTO_IP
        self.socket = socket.socket(socket.AF_INET6 if ipv6 else socket.AF_INET, socket.SOCK_DGRAM)
        # An interface index, padded as the addresses behind it need.
        self.group = struct.pack("I4x", socket.if_nametoindex(interface)) + sockaddr(group)
        excluded = [source[1:] for source in sources if source.startswith("-")]
        if len(excluded) == len(sources):
            self._set(MCAST_JOIN_GROUP)
        for source in sources:
            self._set(MCAST_BLOCK_SOURCE if excluded else MCAST_JOIN_SOURCE_GROUP, source.lstrip("-"))

    def _set(self, option, source=None):
        self.socket.setsockopt(self.level, option, self.group + (sockaddr(source) if source else b""))


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    memberships = []
    for argument in sys.argv[1:]:
        interface, group, *sources = argument.split(",")
        memberships.append(Membership(interface, group, sources))
        # One report at a time: the switch is to see the groups in this order.
        time.sleep(0.05)
    print("ready", flush=True)
    signal.pause()


if __name__ == "__main__":
    main()
