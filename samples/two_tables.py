#!/usr/bin/env python3
"""A multicast daemon with two fixed tables: two_tables.py UPSTREAM DOWNSTREAM DOWNSTREAM.

Fills the kernel's tables 253 (default) and 100, prints "ready" and keeps them until it is ended: the kernel drops a
table when the socket that made it is closed.
"""
import signal
import socket
import struct
import sys

# From <linux/mroute.h>; Python has no names for them.
MRT_INIT, MRT_ADD_VIF, MRT_ADD_MFC, MRT_TABLE, MRT_ADD_MFC_PROXY = 200, 202, 204, 209, 210
VIFF_USE_IFINDEX = 0x8
MAXVIFS = 32


class Table:
    def __init__(self, number, interfaces):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_IGMP)
        self.vifs = {name: vif for vif, name in enumerate(interfaces)}
        self._set(MRT_TABLE, struct.pack("I", number))
        self._set(MRT_INIT, struct.pack("i", 1))
        for name, vif in self.vifs.items():
            index = socket.if_nametoindex(name)
            self._set(MRT_ADD_VIF, struct.pack("HBBIi4x", vif, VIFF_USE_IFINDEX, 1, 0, index))

    def _set(self, option, value):
        self.socket.setsockopt(socket.IPPROTO_IP, option, value)

    def add(self, source, group, incoming, thresholds):
        """thresholds: per outgoing interface the TTL that a packet has to exceed."""
        ttls = [0] * MAXVIFS
        for name, ttl in thresholds.items():
            ttls[self.vifs[name]] = ttl
        # Only as a proxy entry does the kernel take one without a source.
        option = MRT_ADD_MFC_PROXY if source == "0.0.0.0" else MRT_ADD_MFC
        self._set(option, struct.pack(f"4s4sH{MAXVIFS}B2x12xi", socket.inet_aton(source), socket.inet_aton(group),
                                      self.vifs[incoming], *ttls, 0))


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    upstream, first, second = sys.argv[1:]

    default = Table(253, sys.argv[1:])
    default.add("10.30.1.9", "239.7.7.1", first, {upstream: 1, second: 1})
    default.add("0.0.0.0", "239.7.7.2", upstream, {upstream: 1, first: 1, second: 1})
    default.add("0.0.0.0", "0.0.0.0", upstream, {upstream: 1, first: 1})

    other = Table(100, sys.argv[1:])
    other.add("10.30.0.9", "239.7.7.1", upstream, {first: 1, second: 8})
    other.add("0.0.0.0", "239.7.7.2", upstream, {upstream: 1, second: 1})
    other.add("10.30.0.9", "239.7.7.3", upstream, {})

    print("ready", flush=True)
    signal.pause()


if __name__ == "__main__":
    main()
