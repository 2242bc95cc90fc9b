#!/usr/bin/python3
"""Runs in the virtual gateway, in a modem's network namespace: the mobile network's name servers.

    name_server.py INTERFACE LOG

Each name has the address 192.0.2.1 there. Every question is a line of LOG: the server that was asked,
the type (1 is an IPv4 address) and the name. It reads and writes whole frames, because the modem has no
addresses of its own.
"""

import socket
import struct
import sys

ADDRESS = bytes([192, 0, 2, 1])
TTL_S = 1
IPV4 = 0x0800
UDP = 17
NAMES = 53
ETHERNET_BYTES = 14
UDP_BYTES = 8


def checksum(header):
    total = sum(struct.unpack(f"!{len(header) // 2}H", header))
    while total >> 16:
        total = (total & 0xffff) + (total >> 16)
    return ~total & 0xffff


def nameIn(message, place):
    """The name at a place of a message, and where it ends."""
    labels = []
    while message[place]:
        length = message[place]
        labels.append(message[place + 1:place + 1 + length].decode())
        place += 1 + length
    return ".".join(labels), place + 1


def answerTo(question):
    """Its answer, and what it asks for. An answer to anything but an IPv4 address is empty."""
    name, end = nameIn(question, 12)
    kind, = struct.unpack_from("!H", question, end)
    record = b"\xc0\x0c" + struct.pack("!HHIH", 1, 1, TTL_S, len(ADDRESS)) + ADDRESS if kind == 1 else b""
    header = question[:2] + struct.pack("!HHHHH", 0x8180, 1, 1 if record else 0, 0, 0)
    return header + question[12:end + 4] + record, f"{kind} {name}"


def reply(frame):
    """The frame that answers a question, and its line for the log; None for other frames."""
    if len(frame) < ETHERNET_BYTES + 20 + UDP_BYTES or frame[12:14] != IPV4.to_bytes(2, "big"):
        return None
    size = (frame[ETHERNET_BYTES] & 15) * 4
    packet = frame[ETHERNET_BYTES:]
    datagram = packet[size:]
    source, target, length, _ = struct.unpack_from("!HHHH", datagram)
    if packet[9] != UDP or target != NAMES:
        return None
    answer, asked = answerTo(datagram[UDP_BYTES:length])
    datagram = struct.pack("!HHHH", target, source, UDP_BYTES + len(answer), 0) + answer
    header = bytearray(struct.pack("!BBHHHBBH", 0x45, 0, 20 + len(datagram), 0, 0, 64, UDP, 0))
    header += packet[16:20] + packet[12:16]
    struct.pack_into("!H", header, 10, checksum(header))
    server = ".".join(map(str, packet[16:20]))
    return frame[6:12] + frame[:6] + frame[12:14] + bytes(header) + datagram, f"{server} {asked}"


def main(interface, log):
    link = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(IPV4))
    link.bind((interface, 0))
    with open(log, "a", buffering=1) as lines:
        while True:
            frame, (_, _, direction, *_) = link.recvfrom(2048)
            answered = reply(frame) if direction != socket.PACKET_OUTGOING else None
            if answered is not None:
                link.send(answered[0])
                print(answered[1], file=lines)


if __name__ == "__main__":
    main(*sys.argv[1:])
