#!/usr/bin/env python3
"""Runs the demonstration (CMD) with a socket of this host at which the page of a gateway can be served,
because a browser cannot reach the demonstration's own network: demo_page.py CMD [ARG]..."""

import os
import pathlib
import socket
import subprocess
import sys

PORT = 8088  # as on a gateway; another one if it is taken
PASSED = 40  # high: shells on the way use the low ones
FIRST_PASSED = 3
PAGES = pathlib.Path(__file__).resolve().parents[2] / "build" / "web" / "page"
VARIABLE = "CELLSLOT_DEMO_PAGE_PORT"


def startPage(programs):
    """The page's server, with the socket as systemd would pass it. (None, "") if there is no page, else
    the process and its address."""
    port = os.environ.get(VARIABLE)
    if port is None:
        return None, ""
    script = f'export LISTEN_PID=$$ LISTEN_FDS=1; exec {FIRST_PASSED}<&{PASSED}; exec "$@"'
    server = subprocess.Popen(["bash", "-c", script, "bash", programs / "cellslot-web", "serve", "--idle", "0",
                               "--pages", PAGES], pass_fds=[PASSED], stdin=subprocess.DEVNULL,
                              start_new_session=True)
    return server, f"http://localhost:{port}/"


def listen():
    for port in (PORT, 0):
        sock = socket.socket()
        sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            sock.bind(("127.0.0.1", port))
        except OSError:
            continue
        sock.listen()
        return sock
    return None


def main():
    sock = listen()
    if sock is not None:
        os.dup2(sock.fileno(), PASSED, inheritable=True)
        os.environ[VARIABLE] = str(sock.getsockname()[1])
    os.execvp(sys.argv[1], sys.argv[1:])


if __name__ == "__main__":
    main()
