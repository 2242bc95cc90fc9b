"""The page's server as systemd would start it: the test passes it a listening socket."""

import http.client
import json
import os
import pathlib
import socket
import subprocess

BIN = pathlib.Path(os.environ["CELLSLOT_BIN"])
PAGES = pathlib.Path(os.environ["CELLSLOT_PAGES"])
FIRST_PASSED = 3
LIMIT_S = 300  # only bounds a failure


def listening(address="127.0.0.1", port=0):
    sock = socket.socket(socket.AF_INET6 if ":" in address else socket.AF_INET)
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    sock.bind((address, port))
    sock.listen(128)
    return sock


class Server:
    """idle: seconds without a client after which it ends; 0: never."""

    def __init__(self, idle=0, address="127.0.0.1", port=0, credentials=None, user=None, history=None,
                 patience=LIMIT_S, sock=None):
        self.errors = ""
        self.sock = sock or listening(address, port)
        self.port = self.sock.getsockname()[1]
        self.url = f"http://127.0.0.1:{self.port}/"
        environment = dict(os.environ, LISTEN_FDS="1")
        if credentials:
            environment["CREDENTIALS_DIRECTORY"] = str(credentials)
        command = [BIN / "cellslot-web", "serve", "--pages", str(PAGES), "--idle", str(idle),
                   "--patience", str(patience)]
        if history:
            command += ["--history", str(history)]
        if user:
            command = ["setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups", *command]
        # LISTEN_PID is the process itself, which bash still is before exec.
        script = f'export LISTEN_PID=$$; exec {FIRST_PASSED}<&{self.sock.fileno()}; exec "$@"'
        self.process = subprocess.Popen(["bash", "-c", script, "bash", *command],
                                        pass_fds=[self.sock.fileno()], env=environment,
                                        stderr=subprocess.PIPE, text=True)

    def end(self):
        if self.process.poll() is None:
            self.process.terminate()
        self.process.wait(LIMIT_S)
        self.sock.close()
        if not self.process.stderr.closed:
            with self.process.stderr as stream:
                self.errors = stream.read()
        return self.errors

    def connect(self, timeout=LIMIT_S):
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=timeout)

    def get(self, path, method="GET", **headers):
        """Status, headers and body."""
        connection = self.connect()
        try:
            connection.request(method, path, headers={name.replace("_", "-"): value
                                                      for name, value in headers.items()})
            answer = connection.getresponse()
            return answer.status, dict(answer.getheaders()), answer.read()
        finally:
            connection.close()

    def getJson(self, path):
        status, _, body = self.get(path)
        assert status == 200, (status, body)
        return json.loads(body)

    def memoryKb(self, key="VmHWM"):
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith(key + ":"):
                return int(line.split()[1])
        raise AssertionError("no " + key)


class Stream:
    """A reader of the live values, on a socket of its own."""

    def __init__(self, port):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=LIMIT_S)
        self.sock.sendall(b"GET /api/live HTTP/1.1\r\nHost: localhost\r\n\r\n")
        self.data = b""

    def readUntil(self, text):
        while text not in self.data:
            piece = self.sock.recv(65536)
            assert piece, "the stream ended"
            self.data += piece

    def readUpdate(self):
        """Until the daemon's next status has come."""
        self.data = b""
        self.readUntil(b"\nevent: ")

    def close(self):
        self.sock.close()
