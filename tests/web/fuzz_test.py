#!/usr/bin/env python3
"""Requests that no browser sends. CELLSLOT_SEED repeats a run, CELLSLOT_FUZZ_S is its length."""

import os
import random
import socket
import time

from web_case import WebCase, runTests

SECONDS = float(os.environ.get("CELLSLOT_FUZZ_S", "20"))
SEED = int(os.environ.get("CELLSLOT_SEED", random.randrange(1 << 32)))
METHODS = (b"GET", b"HEAD", b"POST", b"PUT", b"OPTIONS", b"CONNECT", b"get", b"", b"G\0T", b"X" * 300)
PATHS = (b"/", b"/api/status", b"/metrics", b"/api/live", b"/api/messages", b"/api/history?slot=1&range=24h",
         b"/api/events?slot=9", b"/page.js", b"/../../etc/shadow", b"/%2e%2e/%00", b"//", b"*", b"http://evil/",
         b"/?" + b"a=b&" * 500, b"/" + b"A" * 5000, b"/\xff\xfe")
VERSIONS = (b"HTTP/1.1", b"HTTP/1.0", b"HTTP/0.9", b"HTTP/2.0", b"HTTP/1.1 ", b"")
HEADERS = (b"Host: localhost", b"Host: evil.example", b"Host:", b"Host: [::1", b"Content-Length: 10",
           b"Content-Length: -1", b"Content-Length: 99999999999999999999", b"Transfer-Encoding: chunked",
           b"Transfer-Encoding: chunked, gzip", b"Connection: close", b"Connection: upgrade", b"Upgrade: websocket",
           b"Expect: 100-continue", b"Accept-Encoding: gzip;q=0", b"Accept-Encoding: " + b"gzip," * 300,
           b"If-None-Match: \"", b"Authorization: Basic ////", b"Range: bytes=0-0,-1", b" folded: line",
           b"NoColon", b"X: " + b"y" * 3000, b"\x00: \x01", b"Cookie: " + b"c=d; " * 200)
BODIES = (b"", b"0\r\n\r\n", b"5\r\nhello\r\n0\r\n\r\n", b"ffffffffffffffff\r\n", b"x" * 2000)


class Fuzz(WebCase):
    def makeRequest(self, rng):
        line = b" ".join(part for part in (rng.choice(METHODS), rng.choice(PATHS), rng.choice(VERSIONS)))
        headers = rng.sample(HEADERS, rng.randrange(6))
        if rng.random() < 0.7:
            headers.insert(0, b"Host: localhost")
        end = rng.choice((b"\r\n", b"\r\n", b"\n"))
        data = bytearray(end.join([line, *headers, b"", b""]) + rng.choice(BODIES))
        for _ in range(rng.choice((0, 0, 1, 3, 20))):
            data[rng.randrange(len(data))] = rng.randrange(256)
        return bytes(data[:rng.randrange(len(data)) + 1] if rng.random() < 0.2 else data)

    def send(self, rng, server, data):
        with socket.create_connection(("127.0.0.1", server.port), timeout=5) as sock:
            sock.settimeout(0.05)
            try:
                for piece in ([data] if rng.random() < 0.8 else [data[:7], data[7:]]):
                    sock.sendall(piece)
                if rng.random() < 0.5:
                    sock.recv(4096)
            except OSError:
                pass  # cut off, or no answer

    def test_OddRequests_DoNotStopTheServer(self):
        print(f"CELLSLOT_SEED={SEED}")
        rng = random.Random(SEED)
        server = self.serve()
        end = time.monotonic() + SECONDS
        count = 0
        while time.monotonic() < end:
            self.send(rng, server, self.makeRequest(rng))
            count += 1
            if count % 200 == 0:
                self.assertIsNone(server.process.poll(), server.errors)
        self.assertEqual(server.get("/api/status")[0], 200)
        print(f"{count} requests, {server.memoryKb()} kB")
        self.slot.waitPolls(1)
        server.end()
        self.assertEqual(server.process.returncode, 0, server.errors)


if __name__ == "__main__":
    runTests()
