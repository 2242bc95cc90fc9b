#!/usr/bin/env python3
"""The page behind nginx and lighttpd, with the examples of docs/web as they are; only ports and the file of
passwords are this test's own."""

import base64
import http.client
import json
import pathlib
import shutil
import subprocess
import tempfile
import time

from web_case import CONFIG, LIMIT_S, WebCase, runTests
from web_server import listening

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "docs" / "web"
NAME = "pump7.example.com"
PASSWORD = "open sesame"

NGINX = """\
daemon off;
pid {folder}/pid;
error_log {folder}/error.log;
events {{}}
http {{
    access_log off;
    client_body_temp_path {folder}/body;
    proxy_temp_path {folder}/proxy;
    fastcgi_temp_path {folder}/fastcgi;
    uwsgi_temp_path {folder}/uwsgi;
    scgi_temp_path {folder}/scgi;
    server {{
        listen 127.0.0.1:{port};
        server_name {name};
        {example}
    }}
}}
"""

LIGHTTPD = """\
server.document-root = "{folder}"
server.port = {port}
server.bind = "127.0.0.1"
server.errorlog = "{folder}/error.log"
{example}
"""


class Proxies:
    """For a class that says how its proxy is started."""

    def setUp(self):
        CONFIG.write_text(f"HOSTS={NAME}\n")
        self.addCleanup(CONFIG.unlink)
        self.server = self.serve()
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.folder.chmod(0o755)
        self.addCleanup(shutil.rmtree, self.folder)
        hashed = subprocess.run(["openssl", "passwd", "-apr1", PASSWORD], capture_output=True, text=True,
                                check=True).stdout
        (self.folder / "passwords").write_text("operator:" + hashed)
        with listening() as free:
            self.port = free.getsockname()[1]
        example = (EXAMPLES / f"{self.example}.conf").read_text()
        for there, here in (("8088", str(self.server.port)),
                            (f"/etc/{self.example}/modem.htpasswd", f"{self.folder}/passwords")):
            self.assertIn(there, example)
            example = example.replace(there, here)
        config = self.folder / "config"
        config.write_text(self.template.format(folder=self.folder, port=self.port, name=NAME, example=example))
        proxy = subprocess.Popen(self.command(config), stdout=subprocess.DEVNULL)
        self.addCleanup(proxy.wait)
        self.addCleanup(proxy.terminate)
        self.waitForProxy()

    def waitForProxy(self):
        end = time.monotonic() + LIMIT_S
        while time.monotonic() < end:
            try:
                return self.ask("/modem/api/status")
            except OSError:
                time.sleep(0.1)
        raise AssertionError((self.folder / "error.log").read_text())

    def ask(self, path, password=PASSWORD, read=None, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=LIMIT_S)
        if password:
            pair = base64.b64encode(f"operator:{password}".encode()).decode()
            headers["Authorization"] = "Basic " + pair
        try:
            connection.request("GET", path, headers={"Host": NAME, **headers})
            answer = connection.getresponse()
            return answer.status, dict(answer.getheaders()), answer.read(read) if read else answer.read()
        finally:
            connection.close()

    def test_Proxy_ShowsThePageToWhoHasThePassword(self):
        self.assertEqual(self.ask("/modem/api/status", password=None)[0], 401)
        status, _, body = self.ask("/modem/api/status")
        self.assertEqual(status, 200)
        self.assertEqual(json.loads(body)["slots"][0]["state"], "connected")
        status, headers, _ = self.ask("/modem/", **{"Accept-Encoding": "gzip"})
        self.assertEqual((status, headers["Content-Encoding"]), (200, "gzip"))
        self.assertIn("default-src 'none'", headers["Content-Security-Policy"])
        self.assertEqual(self.ask("/modem/page.js", **{"Accept-Encoding": "gzip"})[0], 200)

    def test_Stream_ComesThroughAtOnce(self):
        # The stream has no end.
        status, _, body = self.ask("/modem/api/live", read=100)
        self.assertEqual(status, 200)
        self.assertIn(b"event: status", body)


class Nginx(Proxies, WebCase):
    example = "nginx"
    template = NGINX

    def command(self, config):
        return ["nginx", "-c", config, "-e", self.folder / "error.log"]


class Lighttpd(Proxies, WebCase):
    example = "lighttpd"
    template = LIGHTTPD

    def command(self, config):
        return ["lighttpd", "-D", "-f", config]


if __name__ == "__main__":
    runTests()
