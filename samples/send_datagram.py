#!/usr/bin/env python3
"""Sends one UDP datagram to a multicast group: send_datagram.py INTERFACE SOURCE GROUP.

The frame is made by hand, so that it can come from any source, of any host behind the interface.
"""
import socket
import struct
import sys


def checksum(data):
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total >> 16) + (total & 0xFFFF)
    return ~total & 0xFFFF


def frame(source, group, payload=b"data"):
    target = socket.inet_aton(group)
    group_mac = b"\x01\x00\x5e" + bytes([target[1] & 0x7F, target[2], target[3]])
    udp = struct.pack("!HHHH", 5004, 5004, 8 + len(payload), 0) + payload
    # TTL 32: above the thresholds of most interfaces.
    head = struct.pack("!BBHHHBBH4s4s", 0x45, 0, 20 + len(udp), 1, 0, 32, socket.IPPROTO_UDP, 0,
                       socket.inet_aton(source), target)
    head = head[:10] + struct.pack("!H", checksum(head)) + head[12:]
    return group_mac + b"\x02\x00\x5e\x00\x02\x01" + b"\x08\x00" + head + udp


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    interface, source, group = sys.argv[1:]
    with socket.socket(socket.AF_PACKET, socket.SOCK_RAW) as link:
        link.bind((interface, 0))
        link.send(frame(source, group))


if __name__ == "__main__":
    main()
