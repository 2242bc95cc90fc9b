#!/usr/bin/env python3
"""Receives messages to the system log and prints them, each line with the seconds since the start. Run
inside scripts/private_namespace.sh, where nothing else listens at /dev/log:

    log_capture.py [--socket /dev/log] [--to FILE]
"""

import argparse
import os
import re
import socket
import sys
import time

# "<13>Nov  3 14:00:59 cellslotd[123]: text", as the C library and logger send it.
DATAGRAM = re.compile(r"<\d+>(?:\w{3} [ \d]\d \d\d:\d\d:\d\d )?(?:\S+? )??(\S+?)(?:\[\d+\])?: ?(.*)",
                      re.DOTALL)


def openLogSocket(path):
    if os.path.lexists(path):
        os.unlink(path)
    receiver = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    receiver.bind(path)
    os.chmod(path, 0o666)
    return receiver


def splitDatagram(data):
    """(program, text) of a datagram; the program is "" if there is none."""
    text = data.decode("utf-8", "replace").rstrip("\n\0")
    match = DATAGRAM.fullmatch(text)
    return (match[1], match[2]) if match else ("", text)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--socket", default="/dev/log")
    parser.add_argument("--to", type=argparse.FileType("w"), default=sys.stdout)
    options = parser.parse_args()
    start = time.monotonic()
    receiver = openLogSocket(options.socket)
    try:
        while True:
            program, text = splitDatagram(receiver.recv(65536))
            print(f"{time.monotonic() - start:9.3f} {program}: {text}", file=options.to, flush=True)
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    main()
